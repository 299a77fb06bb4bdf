// Codes, lines and out values of the trees, and what is left after a failed allocation.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "../memory_fault.h"
#include "../printed.h"
#include "tree_model.h"

namespace {

std::uint32_t number_key(std::uint32_t number) {
  return __builtin_bswap32(number);
}

TYPED_TEST(TreeTest, StaticTreeAllocatesAtInitOnlyAndIsAbsentWhenThatFails) {
  MemoryFault memory;
  const typename TypeParam::Tree cleared{};
  typename TypeParam::Tree tree{};
  for (std::size_t failing = 0;; ++failing) {
    memory.arm(failing);
    const std::uint32_t code = TypeParam::init(&tree, 20, 16, nullptr);
    if (!memory.fired()) {
      EXPECT_EQ(code, 0u);
      EXPECT_EQ(failing, 3u) << "keys, nodes, slots";
      break;
    }
    EXPECT_TRUE(code == 0x1201 || code == 0x1803) << code;
    EXPECT_EQ(memory.out(), 0u);
    EXPECT_EQ(memcmp(&tree, &cleared, sizeof tree), 0);
  }
  memory.arm(0);  // an allocation from here on would fail
  std::uint32_t out = 0;
  for (std::uint32_t i = 0; i < 20; ++i) {
    std::uint32_t key[4] = {number_key(i * 7 % 20)};
    EXPECT_EQ(TypeParam::insert(&tree, key, &out), 0u);
  }
  const std::uint32_t gone[4] = {number_key(7)};
  EXPECT_EQ(TypeParam::remove(&tree, gone, &out), 0u);
  EXPECT_FALSE(memory.fired());
  EXPECT_EQ(TypeParam::destroy(&tree), 0u);
  EXPECT_EQ(memory.out(), 0u);
}

TYPED_TEST(TreeTest, RefusesAKeyPoolBeyond32Bits) {
  const MemoryFault memory;
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  typename TypeParam::Tree tree{};
  EXPECT_THAT(
      printed([&] { EXPECT_EQ(TypeParam::init(&tree, 0x10000, 0x10000, nullptr), 0x1205u); }),
      testing::HasSubstr("[Error:VALUE[val0=0x10000] INVALID] [val1=0x10000] ! FUNCTION :tree_pool_create !\n"));
  EXPECT_EQ(tree.inited, 0u);
}

TYPED_TEST(TreeTest, RefusesNullArguments) {
  typename TypeParam::Tree tree{};
  ASSERT_EQ(TypeParam::init(&tree, 2, 4, nullptr), 0u);
  std::uint32_t key = 0;
  std::uint32_t out = 0;
  const std::uint32_t codes[] = {TypeParam::init(nullptr, 2, 4, nullptr), TypeParam::destroy(nullptr),
                                 TypeParam::insert(&tree, nullptr, &out), TypeParam::insert(&tree, &key, nullptr),
                                 TypeParam::remove(nullptr, &key, &out),  TypeParam::remove(&tree, nullptr, &out),
                                 TypeParam::remove(&tree, &key, nullptr), TypeParam::find(nullptr, &key, &out),
                                 TypeParam::find(&tree, nullptr, &out),   TypeParam::find(&tree, &key, nullptr)};
  EXPECT_THAT(codes, testing::Each(0x1201u));
  EXPECT_EQ(TypeParam::destroy(&tree), 0u);
  typename TypeParam::Node node{};
  ASSERT_EQ(TypeParam::init(&tree, 0, 4, nullptr), 0u);
  EXPECT_EQ(TypeParam::link(&tree, &node), 0x1201u) << "a node without its key";
  EXPECT_EQ(TypeParam::destroy(&tree), 0u);
}

using AvlCodes = Quiet;

TEST_F(AvlCodes, InitAndPrint) {
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  qlix_comm_avl tree{};
  EXPECT_EQ(printed([&] { EXPECT_EQ(qlix_comm_avl_init(&tree, 4, 0, nullptr), 0x1902u); }),
            "\nErrorCode:[0x1902]qlix_comm_avl_init key_length is 0 err!");
  ASSERT_EQ(qlix_comm_avl_init(&tree, 4, 4, nullptr), 0u);
  EXPECT_EQ(printed([&] { EXPECT_EQ(qlix_comm_avl_init(&tree, 9, 9, nullptr), 0u); }),
            "\nqlix_comm_avl_init already init!");
  EXPECT_EQ(tree.max_node, 4u);
  EXPECT_EQ(printed([&] { qlix_comm_avl_show_info(&tree); }), "The avl tree is empty!!\n");
  std::uint32_t out = 0;
  for (const std::uint32_t number : {3u, 1u, 2u}) {
    std::uint32_t inserted = number;  // host order: as the print shows it
    EXPECT_EQ(qlix_comm_avl_insert(&tree, &inserted, &out), 0u);
  }
  EXPECT_EQ(printed([&] { qlix_comm_avl_show_info(&tree); }),
            "\n****************avl tree info from first key***********\n==>1==>2==>3"
            "\n****************avl tree info from last key***********\n==>3==>2==>1");
  EXPECT_EQ(qlix_comm_avl_node_find(&tree, nullptr), nullptr);
  EXPECT_EQ(qlix_comm_avl_node_find(nullptr, &out), nullptr);
  EXPECT_EQ(qlix_comm_avl_destroy(&tree), 0u);
}

TEST_F(AvlCodes, ASlotWhoseKeyLiesOutsideThePoolIsReturned) {
  qlix_comm_avl tree{};
  ASSERT_EQ(qlix_comm_avl_init(&tree, 2, 4, nullptr), 0u);
  std::uint32_t out = 0;
  std::uint32_t key = 1;
  EXPECT_EQ(qlix_comm_avl_insert(&tree, &key, &out), 0u);
  tree.max_node = 1;
  key = 2;
  EXPECT_EQ(qlix_comm_avl_insert(&tree, &key, &out), 0x1906u);
  EXPECT_EQ(tree.slot_stack->free_num, 1u);
  tree.max_node = 2;
  EXPECT_EQ(qlix_comm_avl_insert(&tree, &key, &out), 0u);
  EXPECT_EQ(qlix_comm_avl_destroy(&tree), 0u);
}

using RbCodes = Quiet;

TEST_F(RbCodes, Init) {
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  qlix_comm_rb tree{};
  ASSERT_EQ(qlix_comm_rb_init(&tree, 4, 4, nullptr), 0u);
  EXPECT_EQ(printed([&] { EXPECT_EQ(qlix_comm_rb_init(&tree, 9, 9, nullptr), 0u); }),
            "\n qlix_comm_rb_init already init!");
  EXPECT_EQ(qlix_comm_rb_destroy(&tree), 0u);
  EXPECT_THAT(printed([&] { EXPECT_EQ(qlix_comm_rb_init(&tree, 4, 0, nullptr), 0x1205u); }),
              testing::HasSubstr("INVALID"));
}

TEST_F(RbCodes, GivenSlotInsert) {
  qlix_comm_rb tree{};
  ASSERT_EQ(qlix_comm_rb_init(&tree, 4, 4, nullptr), 0u);
  // In order: taken, key exists, slot in use, slot out of range, the chain's head and end, full.
  const struct {
    std::uint32_t number, slot, code;
  } cases[] = {{10, 2, 0}, {10, 1, 0x1001}, {11, 2, 0x1807}, {11, 4, 0x1806},
               {11, 0, 0}, {12, 3, 0},      {13, 1, 0},      {14, 1, 0x1804}};
  for (const auto& c : cases) {
    const std::uint32_t key = number_key(c.number);
    EXPECT_EQ(qlix_comm_rb_insert_spec_index(&tree, &key, c.slot), c.code) << c.number << ' ' << c.slot;
    std::uint32_t out = 99;
    if (c.code == 0) {
      EXPECT_EQ(qlix_comm_rb_search(&tree, &key, &out), 0u);
      EXPECT_EQ(out, c.slot);
    }
  }
  RbTraits::shape_check(&tree, tree.root);
  EXPECT_EQ(qlix_comm_rb_destroy(&tree), 0u);

  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  ASSERT_EQ(qlix_comm_rb_init(&tree, 0, 4, nullptr), 0u);
  const std::uint32_t key = 1;
  EXPECT_EQ(printed([&] { EXPECT_EQ(qlix_comm_rb_insert_spec_index(&tree, &key, 0), 0x1005u); }),
            "qlix_comm_rb_insert_spec_index: dynamic mode is not support ! Error");
}

TEST_F(RbCodes, TracesFollowTheLevel) {
  qlix_comm_rb tree{};
  ASSERT_EQ(qlix_comm_rb_init(&tree, 2, 4, nullptr), 0u);
  std::uint32_t key = 1;
  std::uint32_t out = 0;
  qlix_comm_set_print_level(QLIX_TRACE_ALL_PRINT);
  EXPECT_EQ(printed([&] { qlix_comm_rb_search(&tree, &key, &out); }), "rb srh fail \n");
  EXPECT_EQ(printed([&] {
              qlix_comm_rb_insert(&tree, &key, &out);
              qlix_comm_rb_insert(&tree, &key, &out);
            }),
            "info ,rb_key is same \n");
  EXPECT_EQ(printed([&] { qlix_comm_rb_delete(&tree, &key, &out); }), " find the key!\n");
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  EXPECT_EQ(printed([&] { qlix_comm_rb_search(&tree, &key, &out); }), "") << "a miss is no error";
  EXPECT_EQ(qlix_comm_rb_destroy(&tree), 0u);
}

}  // namespace
