// The containers under the event lists: tables that share their elements
// between copies (whole or block by block) and the model's id indexes.
#include "toolkit/events/qkidmap_p.h"
#include "toolkit/events/qkrecords.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <map>
#include <thread>
#include <vector>

namespace {

QKEvent event(long evid)
{
    QKEvent e;
    e.evid = evid;
    return e;
}

std::vector<long> evids(const Table<QKEvent>& t)
{
    std::vector<long> out;
    for (long i = 0; i < t.max(); i++)
        out.push_back(t.get(i).evid);
    return out;
}

TEST(EventList, ACopyChangedInOnePlaceLeavesTheOriginalAndSharesTheRest)
{
    const long n = 3 * QKBlocks<QKEvent>::kBlock + 7;
    Table<QKEvent> list;
    for (long i = 0; i < n; i++)
        ASSERT_EQ(list.push(event(i)), 0);
    Table<QKEvent> copy(list);
    EXPECT_TRUE(copy.shares(list));
    copy.at(n - 1)->evid = -5;
    copy.at(1)->evid = -6;
    EXPECT_FALSE(copy.shares(list));
    EXPECT_EQ((std::vector{list.get(n - 1).evid, list.get(1).evid, copy.get(1).evid}), (std::vector{n - 1, 1L, -6L}));
    // entries of untouched blocks are the very same objects
    EXPECT_EQ(&copy.get(QKBlocks<QKEvent>::kBlock), &list.get(QKBlocks<QKEvent>::kBlock));
    EXPECT_NE(&copy.get(0), &list.get(0));
    EXPECT_EQ(copy.get(n).evid, -1);  // the null element
    EXPECT_EQ(copy.at(n), nullptr);
}

TEST(EventList, UnmadeBlocksAreMadeOnceWhenFirstWantedFromAnyThread)
{
    const long b = QKBlocks<QKEvent>::kBlock;
    std::atomic<int> made{0};
    auto block = [&made](long first, long n) {
        return [&made, first, n](std::vector<QKEvent>* out) {
            made++;
            for (long i = first; i < first + n; i++)
                out->push_back(event(i));
        };
    };
    Table<QKEvent> list;
    ASSERT_EQ(list.pushLazy(b, block(0, b)), 0);
    ASSERT_EQ(list.pushLazy(b, block(b, b)), 0);
    ASSERT_EQ(list.pushLazy(3, block(2 * b, 3)), 0);
    EXPECT_LT(list.pushLazy(3, block(0, 3)), 0);  // only after a full block
    hl_clear_register(0);
    EXPECT_EQ(list.max(), 2 * b + 3);
    EXPECT_EQ(made.load(), 0);
    const Table<QKEvent> copy(list);
    std::vector<std::thread> readers;
    for (int t = 0; t < 4; t++)
        readers.emplace_back([&copy, b] {
            for (long i = b; i < 2 * b; i++)
                EXPECT_EQ(copy.get(i).evid, i);
        });
    for (std::thread& t : readers)
        t.join();
    // the middle block, once, for both copies
    EXPECT_EQ(std::pair(made.load(), list.blocksMade()), std::pair(1, 1L));
    EXPECT_EQ(&copy.get(b), &list.get(b));
    // a push after an unmade last block, and a change of it, make it first
    ASSERT_EQ(list.push(event(-1)), 0);
    EXPECT_EQ(evids(list).back(), -1);
    EXPECT_EQ(list.get(2 * b + 2).evid, 2 * b + 2);
    EXPECT_EQ(made.load(), 3);
    EXPECT_EQ(copy.max(), 2 * b + 3);
    EXPECT_EQ(copy.get(2 * b + 2).evid, 2 * b + 2);
}

TEST(EventList, MovingCallsKeepOrderAcrossBlocks)
{
    const long b = QKBlocks<QKEvent>::kBlock;
    Table<QKEvent> list;
    std::vector<long> expected;
    for (long i = 0; i < 2 * b + 3; i++) {
        list.push(event(i));
        expected.push_back(i);
    }
    Table<QKEvent> before(list);
    ASSERT_EQ(list.del(b - 1), 0);
    expected.erase(expected.begin() + (b - 1));
    ASSERT_EQ(list.ins(b + 5, event(-1)), 0);
    expected.insert(expected.begin() + (b + 5), -1);
    ASSERT_EQ(list.unshift(event(-2)), 0);
    expected.insert(expected.begin(), -2);
    EXPECT_EQ(list.pop().evid, expected.back());
    expected.pop_back();
    EXPECT_EQ(list.shift().evid, -2);
    expected.erase(expected.begin());
    EXPECT_EQ(evids(list), expected);
    EXPECT_EQ(before.max(), 2 * b + 3);
    EXPECT_EQ(before.get(b - 1).evid, b - 1);

    list.sortb([](const QKEvent& x, const QKEvent& y) { return x.evid > y.evid; });
    std::sort(expected.rbegin(), expected.rend());
    EXPECT_EQ(evids(list), expected);
    ASSERT_EQ(list.set(list.max() + 2, event(99)), 0);
    EXPECT_EQ((std::vector{list.get(list.max() - 2).evid, list.get(list.max() - 1).evid}), (std::vector{-1L, 99L}));
    EXPECT_LT(list.del(list.max()), 0);
}

TEST(SharedTable, BorrowedElementsAreCopiedBeforeAChange)
{
    auto origins = std::make_shared<QKOrigin[]>(2);
    origins[0].orid = 10;
    origins[1].orid = 11;
    Table<QKOrigin> a, b;
    a.borrow(std::shared_ptr<QKOrigin>(origins, &origins[0]), 1);
    b.borrow(std::shared_ptr<QKOrigin>(origins, &origins[1]), 1);
    EXPECT_EQ(a.max(), 1);
    EXPECT_EQ(b.get(0).orid, 11);
    Table<QKOrigin> c(b);
    EXPECT_TRUE(c.shares(b));
    c.at(0)->orid = 12;
    ASSERT_EQ(a.push(QKOrigin()), 0);
    EXPECT_EQ((std::vector{origins[0].orid, origins[1].orid, a.get(0).orid, c.get(0).orid}),
              (std::vector<decltype(c.get(0).orid)>{10, 11, 10, 12}));
    EXPECT_EQ(a.max(), 2);
    EXPECT_FALSE(c.shares(b));
}

TEST(IdMap, DirectSparseAndOddIdsAgreeWithAStdMap)
{
    // runs of ids, strides, far and negative ids, and the marker value
    std::vector<long> ids;
    for (long i = 1; i <= 3000; i++)
        ids.push_back(i);
    for (long i = 0; i < 300; i++)
        ids.push_back(1000000 + 4096 * i);
    for (long id : {-1L, -2L, 0L, LONG_MIN, LONG_MAX, 5000L, 2999L})
        ids.push_back(id);
    QKIdMap<long> map;
    std::map<long, long> reference;
    for (size_t k = 0; k < ids.size(); k++) {
        const auto [value, fresh] = map.try_emplace(ids[k]);
        EXPECT_EQ(fresh, !reference.count(ids[k])) << ids[k];
        *value = static_cast<long>(k);
        reference[ids[k]] = static_cast<long>(k);
    }
    EXPECT_EQ(map.size(), reference.size());
    for (const auto& [id, value] : reference) {
        ASSERT_NE(map.find(id), nullptr) << id;
        EXPECT_EQ(*map.find(id), value) << id;
    }
    for (long id : {3001L, -3L, 1000001L, LONG_MIN + 1})
        EXPECT_EQ(map.find(id), nullptr) << id;
    std::map<long, long> seen;
    map.each([&](long id, long value) { seen[id] = value; });
    EXPECT_EQ(seen, reference);
    map.clear();
    EXPECT_EQ(map.find(1), nullptr);
    EXPECT_EQ(map.size(), 0u);
}

TEST(RowList, KeepsOrderAndRemovesByValue)
{
    QKRowList list;
    EXPECT_TRUE(list.empty());
    for (long r : {-1L, 4L, LONG_MIN, 4L, 7L})
        list.push(r);
    list.remove(4);
    std::vector<long> got;
    list.each([&](long r) { got.push_back(r); });
    EXPECT_EQ(got, (std::vector<long>{-1, LONG_MIN, 7}));
    EXPECT_EQ(list.size(), 3u);
    EXPECT_EQ(list.back(), 7);
    EXPECT_TRUE(list.contains(LONG_MIN));
    EXPECT_FALSE(list.contains(4));
}

}  // namespace
