// Index stack and double link list: orders, counts, codes, lines, and what is left after a failed allocation.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "../memory_fault.h"
#include "../printed.h"
#include "qlix_comm/double_link.h"
#include "qlix_comm/liststack.h"
#include "qlix_comm/print.h"

namespace {

using Random = std::independent_bits_engine<std::mt19937, 32, std::uint32_t>;

// The model of an index stack: the free slots, next one last.
class ListStackTest : public testing::Test {
 protected:
  void create(std::uint32_t count) {
    ASSERT_EQ(qlix_comm_liststack_creat(count, &stack_), 0u);
    for (std::uint32_t slot = count; slot-- > 0;) {
      free_.push_back(slot);
    }
  }
  void TearDown() override {
    if (stack_ != nullptr) {
      EXPECT_EQ(qlix_comm_liststack_destroy(stack_), 0u);
    }
    qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  }

  qlix_comm_liststack* stack_ = nullptr;
  std::vector<std::uint32_t> free_;
};

// Slots go out in ascending order, and the last freed first.
TEST_F(ListStackTest, AgreesWithItsModelUnderRandomSequences) {
  qlix_comm_set_print_level(QLIX_TRACE_PRINT);
  create(40);
  Random random(11);
  for (int step = 0; step < 20000; ++step) {
    const std::uint32_t chosen = random() % 42;
    const auto found = std::find(free_.begin(), free_.end(), chosen);
    std::uint32_t slot = 99;
    switch (random() % 3) {
      case 0:
        EXPECT_EQ(qlix_comm_liststack_alloc(stack_, &slot), free_.empty() ? 0x1804u : 0u);
        EXPECT_EQ(slot, free_.empty() ? 0u : free_.back());
        free_.resize(free_.empty() ? 0 : free_.size() - 1);
        break;
      case 1:
        EXPECT_EQ(qlix_comm_liststack_free(stack_, chosen), chosen >= 40 ? 0x1805u : 0u);
        if (chosen < 40 && found == free_.end()) {
          free_.push_back(chosen);
        }
        break;
      default:
        EXPECT_EQ(qlix_comm_liststack_alloc_spec_index(stack_, chosen), free_.empty()          ? 0x1804u
                                                                        : chosen >= 40         ? 0x1806u
                                                                        : found == free_.end() ? 0x1807u
                                                                                               : 0u);
        if (found != free_.end()) {
          free_.erase(found);
        }
    }
    EXPECT_EQ(stack_->free_num, free_.size());
    EXPECT_EQ(stack_->used_num, 40 - free_.size());
    ASSERT_FALSE(HasFailure()) << "step " << step;
  }
}

TEST_F(ListStackTest, RefusesWithItsLines) {
  std::uint32_t slot = 7;
  qlix_comm_liststack* none = reinterpret_cast<qlix_comm_liststack*>(8);
  create(1);
  EXPECT_EQ(printed([&] { EXPECT_EQ(qlix_comm_liststack_creat(0, &none), 0x1801u); }),
            "\n FtmComm_ListStackCreat_dwElementNum <=0");
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(printed([] { EXPECT_EQ(qlix_comm_liststack_creat(4, nullptr), 0x1802u); }), "\n p_list is NULL!\n");
  EXPECT_THAT(printed([&] { EXPECT_EQ(qlix_comm_liststack_alloc(nullptr, &slot), 0x1802u); }),
              testing::MatchesRegex("\n qlix_comm_liststack_alloc! ERROR LINE:[0-9]+\n "));
  EXPECT_THAT(printed([] { EXPECT_EQ(qlix_comm_liststack_free(nullptr, 0), 0x1802u); }),
              testing::MatchesRegex("\n qlix_comm_liststack_free is null! LINE:[0-9]+\n "));
  EXPECT_THAT(printed([] { EXPECT_EQ(qlix_comm_liststack_destroy(nullptr), 0x1802u); }),
              testing::MatchesRegex("\n qlix_comm_liststack_destroy! LINE:[0-9]+\n "));
  EXPECT_THAT(printed([&] { EXPECT_EQ(qlix_comm_liststack_alloc_spec_index(stack_, 1), 0x1806u); }),
              testing::MatchesRegex("\n qlix_comm_liststack_alloc_spec_index: input invalid index! LINE:[0-9]+\n "));
  EXPECT_EQ(qlix_comm_liststack_free(stack_, 0xFFFFFFFF), 0x1205u);
  EXPECT_EQ(qlix_comm_liststack_alloc(stack_, nullptr), 0x1201u);
  EXPECT_EQ(printed([] { qlix_comm_liststack_show_used(nullptr, 4); }), "\n Please Input Param!");
}

TEST_F(ListStackTest, ShowsItsSlots) {
  create(4);
  std::uint32_t slot;
  for (int i = 0; i < 3; ++i) {
    qlix_comm_liststack_alloc(stack_, &slot);
  }
  EXPECT_EQ(printed([&] { qlix_comm_liststack_show_used(stack_, 2); }), " 0x0 0x1\n 0x2\n used_number: 0x3");
  EXPECT_EQ(printed([&] { qlix_comm_liststack_show_free(stack_, 0); }), " 0x3\n used_number: 0x3");
  const std::string header = printed([&] { qlix_comm_liststack_showlist_info(stack_); });
  EXPECT_NE(header.find("\n\t capacity: 0x5\n\t p_head:   0x4\n\t free_num: 0x1\n\t used_num: 0x3\n"),
            std::string::npos)
      << header;
  qlix_comm_liststack_alloc(stack_, &slot);
  EXPECT_EQ(printed([&] { qlix_comm_liststack_show_free(stack_, 0); }),
            "\n The index are all used!\n\n used_number: 0x4");
}

TEST_F(ListStackTest, IsAbsentWhenMemoryIs) {
  MemoryFault memory;
  memory.arm(0);
  EXPECT_EQ(printed([&] { EXPECT_EQ(qlix_comm_liststack_creat(4, &stack_), 0x1803u); }),
            "\n qlix_comm_liststack_creat Fail \n");
  EXPECT_EQ(stack_, nullptr);
  EXPECT_TRUE(memory.fired());
  memory.disarm();
  EXPECT_EQ(printed([&] { EXPECT_EQ(qlix_comm_liststack_creat(0xFFFFFFFF, &stack_), 0x1803u); }),
            "malloc size err, size more than 512M \n\n qlix_comm_liststack_creat Fail \n");
}

struct Record {
  std::uint32_t number;
  qlix_comm_double_link_node node;
};

class DoubleLinkTest : public testing::Test {
 protected:
  void SetUp() override {
    freed_.clear();
    ASSERT_EQ(qlix_comm_double_link_init(6, &head_), 0u);
    for (std::uint32_t i = 0; i < std::size(records_); ++i) {
      records_[i] = {i, {&records_[i], nullptr, nullptr}};
    }
  }
  void TearDown() override {
    qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  }

  // Numbers in list order; forward and backward links are checked on the way.
  std::vector<std::uint32_t> numbers() const {
    std::vector<std::uint32_t> found;
    const qlix_comm_double_link_node* prev = nullptr;
    for (const auto* node = head_.first; node != nullptr; node = node->next) {
      EXPECT_EQ(node->prev, prev);
      found.push_back(*static_cast<const std::uint32_t*>(node->data));
      prev = node;
    }
    EXPECT_EQ(head_.last, prev);
    EXPECT_EQ(head_.count, found.size());
    return found;
  }

  // Nodes of their own allocation, for the operations that release nodes.
  void append(std::initializer_list<int> numbers) {
    for (const int number : numbers) {
      auto* const node = static_cast<qlix_comm_double_link_node*>(ic_comm_malloc_memory(sizeof records_->node));
      node->data = &records_[number];
      ASSERT_EQ(qlix_comm_double_link_insert_last(node, &head_), 0u);
    }
  }

  static std::uint32_t count_free(void* data) {
    freed_.push_back(static_cast<Record*>(data)->number);
    return freed_.back() == refused_ ? 0x77 : 0;
  }

  const MemoryFault memory_;
  qlix_comm_double_link head_{};
  Record records_[8];  // each holds its place
  inline static std::vector<std::uint32_t> freed_;
  inline static std::uint32_t refused_;
};

using Numbers = std::vector<std::uint32_t>;

TEST_F(DoubleLinkTest, PlacesAndUnlinksNodes) {
  EXPECT_EQ(qlix_comm_double_link_insert_1st(&records_[2].node, &head_), 0u);
  EXPECT_EQ(qlix_comm_double_link_insert_1st(&records_[1].node, &head_), 0u);
  EXPECT_EQ(qlix_comm_double_link_insert_last(&records_[5].node, &head_), 0u);
  EXPECT_EQ(qlix_comm_double_link_insert_pre(&records_[0].node, &records_[1].node, &head_), 0u);
  EXPECT_EQ(qlix_comm_double_link_insert_aft(&records_[3].node, &records_[2].node, &head_), 0u);
  EXPECT_EQ(qlix_comm_double_link_insert_aft(&records_[6].node, &records_[5].node, &head_), 0u);
  EXPECT_EQ(numbers(), (Numbers{0, 1, 2, 3, 5, 6}));
  EXPECT_EQ(qlix_comm_double_link_insert_last(&records_[7].node, &head_), 0x1205u) << "full";
  for (const int i : {0, 3, 6}) {
    EXPECT_EQ(qlix_comm_double_link_del(&records_[i].node, &head_), 0u);
    EXPECT_EQ(records_[i].node.prev, nullptr);
    EXPECT_EQ(records_[i].node.next, nullptr);
  }
  EXPECT_EQ(numbers(), (Numbers{1, 2, 5}));
}

TEST_F(DoubleLinkTest, SortsANewNodeBeforeItsEquals) {
  Record twin{3, {&twin, nullptr, nullptr}};
  for (const int i : {4, 3, 6}) {
    EXPECT_EQ(qlix_comm_double_link_insert_sort(&records_[i].node, &head_, nullptr, nullptr), 0u);
  }
  EXPECT_EQ(qlix_comm_double_link_insert_sort(&twin.node, &head_, nullptr, nullptr), 0u);
  EXPECT_EQ(numbers(), (Numbers{3, 3, 4, 6}));
  EXPECT_EQ(head_.first, &twin.node);
  // A hook with an argument: descending from a base.
  std::uint32_t base = 10;
  EXPECT_EQ(qlix_comm_double_link_insert_sort(
                &records_[5].node, &head_,
                [](const qlix_comm_double_link_node* node, const qlix_comm_double_link_node* other, void* arg) {
                  const std::uint32_t from = *static_cast<std::uint32_t*>(arg);
                  return static_cast<std::int32_t>(from - *static_cast<std::uint32_t*>(node->data)) -
                         static_cast<std::int32_t>(from - *static_cast<std::uint32_t*>(other->data));
                },
                &base),
            0u);
  EXPECT_EQ(numbers(), (Numbers{5, 3, 3, 4, 6}));
}

TEST_F(DoubleLinkTest, ReleasesNodesByInfoPositionAndData) {
  qlix_comm_set_print_level(QLIX_TRACE_ALL_PRINT);
  append({0, 1, 2, 3, 4, 5});
  std::uint32_t num = 9;
  std::uint32_t odd = 1;
  const auto parity = [](void* info, const qlix_comm_double_link_node* node, void* arg) -> std::int32_t {
    EXPECT_EQ(info, arg);
    return *static_cast<std::uint32_t*>(node->data) % 2 == *static_cast<std::uint32_t*>(info) ? 0 : 1;
  };
  EXPECT_EQ(printed([&] { EXPECT_EQ(qlix_comm_double_link_del_by_info(&head_, &odd, parity, &num), 0u); }),
            " DOUBLE LINK DEL NUM 3 \n");
  EXPECT_EQ(num, 3u);
  EXPECT_EQ(qlix_comm_double_link_del_by_info(&head_, &odd, parity, &num), 1u);
  EXPECT_EQ(num, 0u);
  EXPECT_EQ(numbers(), (Numbers{0, 2, 4}));

  refused_ = 4;
  std::uint32_t pos = 2;
  EXPECT_EQ(qlix_comm_double_link_del_pos(&head_, &pos, count_free), 0u);
  EXPECT_EQ(qlix_comm_double_link_del_pos(&head_, &pos, count_free), 0u) << "absent";
  EXPECT_EQ(freed_, (Numbers{2}));
  EXPECT_EQ(qlix_comm_double_link_del_by_data(&head_, &records_[4], count_free), 0x77u);
  EXPECT_EQ(numbers(), (Numbers{0, 4})) << "what cannot be released stays";
  EXPECT_EQ(qlix_comm_double_link_del_by_data(&head_, &records_[4], nullptr), 0u);
  EXPECT_EQ(printed([&] { EXPECT_EQ(qlix_comm_double_link_del_by_data(&head_, &odd, nullptr), 0u); }),
            "\nError:data not exist. FUNCTION : qlix_comm_double_link_del_by_data!\n");
  EXPECT_EQ(numbers(), (Numbers{0}));
  EXPECT_EQ(qlix_comm_dlink_release(&head_, nullptr), 0u);
}

TEST_F(DoubleLinkTest, ReleaseStopsWhereDataCannotBeReleased) {
  append({3, 1, 2});
  refused_ = 1;
  EXPECT_EQ(qlix_comm_dlink_release(&head_, count_free), 0x77u);
  EXPECT_EQ(freed_, (Numbers{3, 1}));
  EXPECT_EQ(numbers(), (Numbers{1, 2}));
  refused_ = 99;
  EXPECT_EQ(qlix_comm_dlink_release(&head_, count_free), 0u);
  EXPECT_EQ(numbers(), Numbers{});
}

TEST_F(DoubleLinkTest, ReleaseGoesOnWhereReleasingDataTookOthersOut) {
  append({3, 1, 2});
  static qlix_comm_double_link* head;
  static Record* second;
  head = &head_;
  second = &records_[1];
  const auto with_the_second = [](void* data) -> std::uint32_t {
    freed_.push_back(static_cast<Record*>(data)->number);
    return qlix_comm_double_link_del_by_data(head, second, nullptr);
  };
  EXPECT_EQ(qlix_comm_dlink_release(&head_, with_the_second), 0u);
  EXPECT_EQ(freed_, (Numbers{3, 2}));
  EXPECT_EQ(numbers(), Numbers{});
}

TEST_F(DoubleLinkTest, PrintsForwardAndBackwardAndRefusesNullAndEmpty) {
  qlix_comm_double_link_insert_last(&records_[1].node, &head_);
  qlix_comm_double_link_insert_last(&records_[2].node, &head_);
  EXPECT_EQ(printed([&] { qlix_comm_double_link_print(&head_); }),
            "*************sequ order***********\n==>1==>2\n\n*************reverve order***********\n==>2==>1");
  EXPECT_EQ(printed([&] { EXPECT_EQ(qlix_comm_double_link_init(0, &head_), 0x1509u); }),
            "\nError:[0x1509] qlix_doule_link_init Element Num Err !");
  qlix_comm_double_link empty{};
  qlix_comm_double_link_init(1, &empty);
  EXPECT_EQ(qlix_comm_double_link_del(&records_[1].node, &empty), 0x1205u);
  EXPECT_EQ(qlix_comm_double_link_insert_1st(nullptr, &empty), 0x1201u);
  EXPECT_EQ(qlix_comm_double_link_insert_1st(&records_[1].node, nullptr), 0x1201u);
}

}  // namespace
