// Index fill against a table whose entries its moves shift: after every step each run must hold the entries of its key.
#include "qlix_comm/indexfill.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "../memory_fault.h"
#include "../printed.h"
#include "../quiet.h"

namespace {

using Random = std::independent_bits_engine<std::mt19937, 32, std::uint32_t>;

// The record handed to the operations begins with the index fill, so that the move hook finds its table.
struct Table {
  struct Entry {
    std::uint32_t key;
    std::uint32_t identity;
    auto operator<=>(const Entry&) const = default;
  };

  qlix_comm_indexfill fill{};
  std::map<std::uint32_t, Entry> entries;  // by position
  std::uint32_t next_identity = 0;
  std::uint32_t moves = 0;
  std::uint32_t failing_move = 0xFFFFFFFF;  // this move, counted from 0, fails

  explicit Table(std::uint32_t total) {
    EXPECT_EQ(qlix_comm_indexfill_init(&fill, total, nullptr, move, 4), 0u);
  }
  ~Table() {
    EXPECT_EQ(qlix_comm_indexfill_destroy(&fill), 0u);
  }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  static std::uint32_t move(std::uint32_t from, std::uint32_t to, qlix_comm_indexfill* fill) {
    auto& table = *reinterpret_cast<Table*>(fill);
    if (table.moves++ == table.failing_move) {
      return 0x99;
    }
    EXPECT_EQ(table.entries.count(from), 1u) << "moved from the free position " << from;
    EXPECT_EQ(table.entries.count(to), 0u) << "moved over the entry at " << to;
    EXPECT_LT(to, fill->total);
    table.entries[to] = table.entries[from];
    table.entries.erase(from);
    return 0;
  }

  std::uint32_t alloc(std::uint32_t number) {
    const std::uint32_t key = __builtin_bswap32(number);
    std::uint32_t position = 0xFFFFFFFF;
    const std::uint32_t code = qlix_comm_indexfill_alloc(&fill, &position, &key);
    if (code == 0) {
      EXPECT_EQ(entries.count(position), 0u) << "handed out twice: " << position;
      entries[position] = {number, next_identity++};
    }
    return code;
  }

  void fill_up(std::initializer_list<std::uint32_t> keys) {
    for (const std::uint32_t key : keys) {
      ASSERT_EQ(alloc(key), 0u);
    }
  }

  std::uint32_t insert(std::uint32_t number, std::uint32_t start, std::uint32_t count) {
    const std::uint32_t key = __builtin_bswap32(number);
    return qlix_comm_indexfill_insert(&fill, start, count, &key);
  }

  std::uint32_t free(std::uint32_t number, std::uint32_t position, std::uint32_t* vacated) {
    const std::uint32_t key = __builtin_bswap32(number);
    const auto held = entries.extract(position);
    const std::uint32_t code = qlix_comm_indexfill_free(&fill, position, &key, vacated);
    if (code != 0 && held) {
      entries[position] = held.mapped();
    }
    return code;
  }

  struct Run {
    std::uint32_t key, start, count;
    bool operator==(const Run&) const = default;
  };
  std::vector<Run> runs() const {
    std::vector<Run> found;
    for (const auto* order = fill.tree.order.first; order != nullptr; order = order->next) {
      const auto* group = static_cast<const qlix_comm_indexfill_group*>(order->data);
      std::uint32_t key;
      memcpy(&key, group->node.key, sizeof key);
      found.push_back({__builtin_bswap32(key), group->start, group->count});
    }
    return found;
  }

  // Runs are disjoint and in key order, hold exactly the entries of their keys, and add up to the used count.
  void check() const {
    std::uint32_t used = 0;
    std::uint32_t end = 0;
    std::int64_t last_key = -1;
    for (const Run& run : runs()) {
      ASSERT_GT(run.key, last_key);
      ASSERT_GE(run.start, end);
      ASSERT_GT(run.count, 0u);
      for (std::uint32_t i = 0; i < run.count; ++i) {
        const auto entry = entries.find(run.start + i);
        ASSERT_NE(entry, entries.end()) << "nothing at " << run.start + i;
        ASSERT_EQ(entry->second.key, run.key);
      }
      last_key = run.key;
      end = run.start + run.count;
      used += run.count;
    }
    ASSERT_LE(end, fill.total);
    ASSERT_EQ(used, fill.used);
    ASSERT_EQ(used, entries.size());
  }

  // The entries, wherever they stand.
  std::set<Entry> contents() const {
    std::set<Entry> found;
    std::ranges::transform(entries, std::inserter(found, found.end()), &decltype(entries)::value_type::second);
    return found;
  }
};

using Runs = std::vector<Table::Run>;

class IndexFillTest : public Quiet {
 protected:
  MemoryFault memory;
};

TEST_F(IndexFillTest, KeepsEveryEntryInItsRunUnderRandomSequences) {
  for (const std::uint32_t total : {1u, 2u, 7u, 40u}) {
    for (std::uint32_t seed = 1; seed <= 4; ++seed) {
      Random random(seed);
      Table table(total);
      for (int step = 0; step < 3000; ++step) {
        std::set<Table::Entry> expected = table.contents();
        const std::uint32_t used = table.fill.used;
        if (random() % 100 < (step / 300 % 2 == 0 ? 70u : 35u)) {
          ASSERT_EQ(table.alloc(1 + random() % 9), used == total ? 0x1A01u : 0u);
          const std::set<Table::Entry> contents = table.contents();
          ASSERT_EQ(contents.size(), std::min(used + 1, total));
          ASSERT_TRUE(std::includes(contents.begin(), contents.end(), expected.begin(), expected.end()));
        } else if (!table.entries.empty()) {
          auto chosen = table.entries.begin();
          std::advance(chosen, random() % table.entries.size());
          const std::uint32_t position = chosen->first;
          const Table::Entry entry = chosen->second;
          const Runs runs = table.runs();
          const Table::Run& run = *std::ranges::find(runs, entry.key, &Table::Run::key);
          std::uint32_t vacated = 0xFFFFFFFF;
          ASSERT_EQ(table.free(entry.key, position, &vacated), 0u);
          ASSERT_EQ(vacated, position == run.start + run.count - 1 ? position : run.start)
              << "the first fills the hole";
          ASSERT_EQ(table.entries.count(vacated), 0u);
          expected.erase(entry);
          ASSERT_EQ(table.contents(), expected) << "freeing takes one entry and keeps the others";
        }
        table.check();
        ASSERT_FALSE(HasFailure()) << "total " << total << " seed " << seed << " step " << step;
      }
    }
  }
}

// Positions as they are chosen: each row allocates for a key and states the runs that follow from it.
TEST_F(IndexFillTest, ChoosesPositionsAsStated) {
  struct Row {
    std::uint32_t key;
    std::uint32_t moves;
    Runs runs;
  };
  const std::vector<std::pair<std::uint32_t, std::vector<Row>>> tables = {
      // A smaller key finds position 0 taken and has the larger one moved up.
      {4,
       {{20, 0, {{20, 0, 1}}},
        {10, 1, {{10, 0, 1}, {20, 1, 1}}},
        {30, 0, {{10, 0, 1}, {20, 1, 1}, {30, 2, 1}}},
        {10, 3, {{10, 0, 2}, {20, 2, 1}, {30, 3, 1}}}}},
      // The first run grows downward; at 0 its own first entry goes to its end.
      {5,
       {{20, 0, {{20, 0, 1}}},
        {20, 0, {{20, 0, 2}}},
        {30, 0, {{20, 0, 2}, {30, 2, 1}}},
        {20, 2, {{20, 0, 3}, {30, 3, 1}}},
        {25, 1, {{20, 0, 3}, {25, 3, 1}, {30, 4, 1}}}}},
      // Without room to the right, the left side gives way.
      {4,
       {{10, 0, {{10, 0, 1}}},
        {40, 0, {{10, 0, 1}, {40, 1, 1}}},
        {40, 0, {{10, 0, 1}, {40, 1, 2}}},
        {40, 0, {{10, 0, 1}, {40, 1, 3}}}}},
  };
  for (const auto& [total, rows] : tables) {
    Table table(total);
    for (const Row& row : rows) {
      const std::uint32_t before = table.moves;
      ASSERT_EQ(table.alloc(row.key), 0u);
      EXPECT_EQ(table.moves - before, row.moves) << "key " << row.key;
      EXPECT_EQ(table.runs(), row.runs) << "key " << row.key;
      table.check();
    }
  }
}

// In a table with these, another entry needs several moves, on the right or on the left.
constexpr std::initializer_list<std::uint32_t> CROWD = {10, 20, 20, 30, 40, 50, 50};

TEST_F(IndexFillTest, StaysAsItWasWhenMemoryIsShort) {
  Table table(12);
  table.fill_up(CROWD);
  const Runs runs = table.runs();
  const std::size_t out = memory.out();
  const auto expect_refusal = [&](std::size_t failing, const auto& call) {
    memory.arm(failing);
    EXPECT_EQ(call(), 0x1201u);
    EXPECT_TRUE(memory.fired());
  };
  for (const std::size_t failing : {0, 1}) {
    expect_refusal(failing, [&] { return table.alloc(25); });
    expect_refusal(failing, [&] { return table.insert(25, 9, 1); });
  }
  std::uint32_t size = 0;
  std::uint8_t* blob = nullptr;
  expect_refusal(0, [&] { return qlix_comm_indexfill_store(&table.fill, &size, &blob); });
  EXPECT_EQ(blob, nullptr);
  memory.arm(0);
  EXPECT_EQ(table.alloc(20), 0u) << "a key that has its run needs no memory";
  memory.disarm();
  std::uint32_t vacated;
  EXPECT_EQ(table.free(20, table.runs()[1].start, &vacated), 0u);
  EXPECT_EQ(memory.out(), out);
  EXPECT_EQ(table.runs().size(), runs.size());
  table.check();
}

TEST_F(IndexFillTest, StaysAsItWasWhenAMoveFails) {
  for (const std::uint32_t key : {5u, 15u, 20u, 25u, 45u, 60u}) {
    for (std::uint32_t failing = 0;; ++failing) {
      Table table(8);
      table.fill_up(CROWD);
      const Runs runs = table.runs();
      const auto entries = table.entries;
      table.failing_move = table.moves + failing;
      const std::uint32_t code = table.alloc(key);
      if (table.moves <= table.failing_move) {
        EXPECT_EQ(code, 0u);
        break;
      }
      EXPECT_EQ(code, 0x99u) << "key " << key << " move " << failing;
      EXPECT_EQ(table.runs(), runs) << "key " << key << " move " << failing;
      EXPECT_EQ(table.entries, entries);
      table.check();
    }
  }
  Table table(8);
  table.fill_up(CROWD);
  table.alloc(50);
  const Runs runs = table.runs();
  table.failing_move = table.moves;
  std::uint32_t vacated;
  EXPECT_EQ(table.free(50, runs.back().start + 1, &vacated), 0x99u);
  EXPECT_EQ(table.runs(), runs);
  table.check();
}

TEST_F(IndexFillTest, InsertChecksTheUsedCountAndThePlace) {
  Table table(20);
  EXPECT_EQ(table.insert(10, 0, 1), 0x1205u) << "nothing is used yet";
  EXPECT_EQ(table.runs(), Runs{}) << "no dangling run";
  table.fill_up({10, 10});
  EXPECT_EQ(table.insert(20, 5, 3), 0x1205u);
  EXPECT_EQ(table.insert(20, 5, 2), 0u);
  EXPECT_EQ(table.runs(), (Runs{{10, 0, 2}, {20, 5, 2}}));
  EXPECT_EQ(table.fill.used, 4u);
  EXPECT_EQ(table.insert(30, 6, 1), 0x1205u) << "into its neighbour";
  EXPECT_EQ(table.insert(30, 18, 3), 0x1205u) << "past the end";
  EXPECT_EQ(table.insert(30, 0xFFFFFFFF, 2), 0x1205u);
  EXPECT_EQ(table.runs().size(), 2u);
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  EXPECT_EQ(printed([&] { EXPECT_EQ(table.insert(20, 9, 1), 0x1001u); }),
            "qlix_comm_rb_insert begin\nCall qlix_comm_rb_insert Error!!!\n");
  table.fill.used = table.fill.total;
  EXPECT_EQ(table.insert(30, 9, 1), 0x1A01u);
  table.fill.used = 4;
}

TEST_F(IndexFillTest, StoresItsRunsInKeyOrderAndKeepsTheStatedRestore) {
  Table table(9);
  table.fill_up({7, 3, 7});
  std::uint32_t size = 0;
  std::uint8_t* blob = nullptr;
  ASSERT_EQ(qlix_comm_indexfill_store(&table.fill, &size, &blob), 0u);
  const std::uint32_t expected[] = {2, 12, 9, 0, 1, __builtin_bswap32(3), 1, 2, __builtin_bswap32(7)};
  ASSERT_EQ(size, sizeof expected);
  EXPECT_EQ(memcmp(blob, expected, size), 0);

  // Into an index fill in use, records up to the used count are taken; a failure takes them all back.
  {
    Table other(9);
    other.fill_up({9, 9});
    const Runs runs = other.runs();
    EXPECT_EQ(qlix_comm_indexfill_recovery(&other.fill, 0, blob, nullptr, Table::move), 0x1205u);
    EXPECT_EQ(other.runs(), runs);
    EXPECT_EQ(other.fill.used, 2u);
  }
  ic_comm_free_memory(blob);

  const struct {
    std::uint32_t words[6];
    std::uint32_t code;
  } cases[] = {
      {{0, 12, 9}, 0},                  // no runs
      {{1, 12, 9, 4, 0, 77}, 0},        // a run without positions
      {{1, 12, 9, 0, 1, 77}, 0x1205},   // the first run finds no position used
      {{1, 12, 9, 10, 0, 77}, 0x1205},  // outside the positions
      {{1, 12, 0, 0, 0, 77}, 0x1A01},   // no positions at all
      {{0, 7, 9}, 0x1205},              // a record shorter than its placement
      {{0, 8, 9}, 0x1205},              // a key of no bytes
  };
  const qlix_comm_indexfill cleared{};
  for (const auto& c : cases) {
    qlix_comm_indexfill fill{};
    EXPECT_EQ(
        qlix_comm_indexfill_recovery(&fill, 0, reinterpret_cast<const std::uint8_t*>(c.words), nullptr, Table::move),
        c.code)
        << c.words[0] << ' ' << c.words[1];
    EXPECT_EQ(memcmp(&fill, &cleared, sizeof cleared) == 0, c.code != 0);
    EXPECT_EQ(qlix_comm_indexfill_destroy(&fill), 0u);
  }
}

TEST_F(IndexFillTest, ClearsForFurtherUseAndShowsItsPositions) {
  Table table(20);
  table.fill_up({1, 1, 1, 1, 1, 1, 1, 1, 1, 2});
  EXPECT_EQ(printed([&] { qlix_comm_indexfill_show_all_position(&table.fill); }),
            "\n *************************Used Position*************************\n"
            "\n ==== Num [0 ] ==== : 0  1  2  3  4  5  6  7 \n                    8 "
            "\n ==== Num [1 ] ==== : 9 \n*******End*******\n");
  EXPECT_EQ(qlix_comm_indexfill_clear(&table.fill), 0u);
  table.entries.clear();
  EXPECT_EQ(table.runs(), Runs{});
  EXPECT_EQ(table.alloc(3), 0u);
  table.check();
}

TEST_F(IndexFillTest, RefusesNullArgumentsAndFreesNothingOfOthers) {
  Table table(2);
  table.fill_up({5});
  std::uint32_t word = 0;
  EXPECT_EQ(table.free(5, 1, &word), 0x1205u);
  EXPECT_EQ(table.free(6, 0, &word), 0x1A02u);
  EXPECT_EQ(qlix_comm_indexfill_init(nullptr, 2, nullptr, Table::move, 4), 0x1201u);
  EXPECT_EQ(qlix_comm_indexfill_init(&table.fill, 2, nullptr, nullptr, 4), 0x1201u);
  EXPECT_EQ(qlix_comm_indexfill_alloc(nullptr, &word, &word), 0x1201u);
  EXPECT_EQ(qlix_comm_indexfill_alloc(&table.fill, nullptr, &word), 0x1201u);
  EXPECT_EQ(qlix_comm_indexfill_alloc(&table.fill, &word, nullptr), 0x1201u);
  EXPECT_EQ(qlix_comm_indexfill_free(&table.fill, 0, nullptr, &word), 0x1201u);
  EXPECT_EQ(qlix_comm_indexfill_recovery(&table.fill, 0, nullptr, nullptr, Table::move), 0x1201u);
  EXPECT_EQ(qlix_comm_indexfill_handle_position_right(&table.fill, nullptr, nullptr), 0x1201u);
}

}  // namespace
