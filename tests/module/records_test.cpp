#include "KORInterface/SharedRecords.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "module/FakedCount.h"
#include "support/CountedNew.h"

namespace {

// Distinct values that a copy through a narrower type would change.
template <typename Value, std::size_t N>
void number(Value (&values)[N], int from)
{
    constexpr double kWide = std::is_floating_point_v<Value> ? 1.1 : sizeof(Value) == 8 ? -4294967297.0 : 1.0;
    for (std::size_t i = 0; i < N; ++i) {
        values[i] = static_cast<Value>(kWide * (from + static_cast<int>(i)));
    }
}

CStyloPRM::PrmEntry entry(int from, const std::wstring& name)
{
    CStyloPRM::PrmEntry made;
    made.first = from;
    number(made.values, from + 1);
    std::copy(name.begin(), name.end(), made.name);
    number(made.last, from + 5);
    return made;
}

void expectEntry(const CStyloPRM::PrmEntry& got, int from, const std::wstring& name)
{
    EXPECT_EQ(got.first, from);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(got.values[i], from + 1 + i);
    }
    EXPECT_EQ(std::wstring(got.name), name);
    EXPECT_EQ(got.last[0], from + 5);
    EXPECT_EQ(got.last[1], from + 6);
}

CStyloPRM filled(int entries)
{
    CStyloPRM record;
    record.leadingWord = 1;
    record.leadingLong = 0x100000002;
    number(record.leadingWords, 10);
    number(record.leadingLongs, 20);
    record.readStatus = true;
    number(record.statusWords, 40);
    number(record.statusLongs, 50);
    for (int i = 0; i < entries; ++i) {
        record.entries.push_back(entry(1000 + 10 * i, L"entry " + std::to_wstring(i)));
    }
    number(record.entryWords, 60);
    number(record.values, 70);
    for (int i = 0; i < 4; ++i) {
        record.fixedEntries[i] = entry(200 + 10 * i, L"fixed");
    }
    number(record.tailBytes, 251);
    number(record.tailWords, 95);
    return record;
}

void expectFilled(const CStyloPRM& got, int entries)
{
    const CStyloPRM wanted = filled(0);
    EXPECT_EQ(got.leadingWord, 1);
    EXPECT_EQ(got.leadingLong, 0x100000002);
    EXPECT_TRUE(std::equal(std::begin(got.leadingWords), std::end(got.leadingWords), wanted.leadingWords));
    EXPECT_TRUE(std::equal(std::begin(got.leadingLongs), std::end(got.leadingLongs), wanted.leadingLongs));
    EXPECT_TRUE(got.getPrmFileReadStatus());
    EXPECT_TRUE(std::equal(std::begin(got.statusWords), std::end(got.statusWords), wanted.statusWords));
    EXPECT_TRUE(std::equal(std::begin(got.statusLongs), std::end(got.statusLongs), wanted.statusLongs));
    ASSERT_EQ(got.entries.size(), static_cast<std::size_t>(entries));
    for (int i = 0; i < entries; ++i) {
        expectEntry(got.entries[static_cast<std::size_t>(i)], 1000 + 10 * i, L"entry " + std::to_wstring(i));
    }
    EXPECT_TRUE(std::equal(std::begin(got.entryWords), std::end(got.entryWords), wanted.entryWords));
    EXPECT_TRUE(std::equal(std::begin(got.values), std::end(got.values), wanted.values));
    for (int i = 0; i < 4; ++i) {
        expectEntry(got.fixedEntries[i], 200 + 10 * i, L"fixed");
    }
    EXPECT_TRUE(std::equal(std::begin(got.tailBytes), std::end(got.tailBytes), wanted.tailBytes));
    EXPECT_TRUE(std::equal(std::begin(got.tailWords), std::end(got.tailWords), wanted.tailWords));
}

TEST(StyloRecord, copyConstructionCarriesEveryMember)
{
    const CStyloPRM source = filled(3);
    const CStyloPRM copy(source);
    expectFilled(copy, 3);
    EXPECT_NE(copy.entries.data(), source.entries.data()) << "the entries are the copy's own";
}

TEST(StyloRecord, assignmentReplacesEveryMember)
{
    CStyloPRM target = filled(9);
    target.leadingWord = -1;
    target.fixedEntries[3] = entry(0, L"other");
    CStyloPRM& result = target = filled(2);
    EXPECT_EQ(&result, &target);
    expectFilled(target, 2);
    target = CStyloPRM();
    EXPECT_FALSE(target.getPrmFileReadStatus());
}

TEST(StyloRecord, selfAssignmentChangesNothing)
{
    CStyloPRM record = filled(4);
    const CStyloPRM& alias = record;
    record = alias;
    expectFilled(record, 4);
}

TEST(StyloRecord, anEmptySequenceEmptiesTheTarget)
{
    CStyloPRM target = filled(5);
    target = filled(0);
    EXPECT_TRUE(target.entries.empty());
    EXPECT_EQ(target.entries.capacity(), 0U);
}

TEST(StyloRecord, aLargeSequenceIsRebuiltWithExactlyItsCount)
{
    CStyloPRM source;
    source.entries.assign(200000, entry(7, L"many"));
    source.entries.reserve(300000);
    CStyloPRM copy;
    copy = source;
    ASSERT_EQ(copy.entries.size(), 200000U);
    EXPECT_EQ(copy.entries.capacity(), 200000U);
    expectEntry(copy.entries.front(), 7, L"many");
    expectEntry(copy.entries.back(), 7, L"many");
}

TEST(StyloRecord, aFailingAllocationLeavesTheTargetAsItWas)
{
    const CStyloPRM source = filled(6);
    CStyloPRM target;
    target.entries.push_back(entry(7, L"kept"));
    CStyloPRM other;
    kor_test::failAllocationsAfter(0);
    EXPECT_THROW(target = source, std::bad_alloc);
    EXPECT_THROW(CStyloPRM copy(source), std::bad_alloc);
    EXPECT_NO_THROW(other = CStyloPRM()) << "nothing to allocate for no entries";
    kor_test::failAllocationsAfter(-1);
    ASSERT_EQ(target.entries.size(), 1U);
    expectEntry(target.entries.front(), 7, L"kept");
    EXPECT_EQ(target.leadingWord, 0);
    EXPECT_FALSE(target.readStatus);
    EXPECT_EQ(target.values[15], 0.0);
    EXPECT_EQ(target.fixedEntries[0].first, 0);
    EXPECT_EQ(target.tailWords[3], 0);
}

TEST(StyloRecord, moreEntriesThanASequenceCanHoldAreReportedAsTooLong)
{
    CStyloPRM source = filled(2);
    CStyloPRM target = filled(3);
    const kor_test::FakedCount count(source.entries, -2);
    ASSERT_GT(source.entries.size(), source.entries.max_size());
    try {
        target = source;
        ADD_FAILURE() << "assigned";
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "vector too long");
    }
    EXPECT_THROW(CStyloPRM copy(source), std::length_error);
    expectFilled(target, 3);
}

TEST(StyloRecord, startsWithoutReadStatusAndEntries)
{
    const CStyloPRM record;
    EXPECT_FALSE(record.getPrmFileReadStatus());
    EXPECT_TRUE(record.entries.empty());
    EXPECT_EQ(record.leadingWord, 0);
    EXPECT_EQ(record.tailWords[3], 0);
}

TEST(StyloEntry, aNameOfFifteenUnitsIsCopiedWhole)
{
    const std::wstring name = L"abcdefghijklm\u00e9\u4e2d";
    ASSERT_EQ(name.size(), 15U);
    const CStyloPRM::PrmEntry source = entry(1, name);
    const CStyloPRM::PrmEntry copy(source);
    expectEntry(copy, 1, name);
    CStyloPRM::PrmEntry target = entry(50, L"before");
    CStyloPRM::PrmEntry& result = target = source;
    EXPECT_EQ(&result, &target);
    expectEntry(target, 1, name);
}

TEST(StyloEntry, aNameOfSixteenUnitsHasNoTerminatorAndIsCopiedAsEmpty)
{
    CStyloPRM::PrmEntry source = entry(1, std::wstring());
    std::fill(std::begin(source.name), std::end(source.name), L'x');
    CStyloPRM::PrmEntry target = entry(50, L"before");
    target = source;
    expectEntry(target, 1, std::wstring());
    EXPECT_TRUE(std::all_of(std::begin(target.name), std::end(target.name), [](wchar_t c) { return c == L'\0'; }));
}

TEST(StyloEntry, unitsBehindTheTerminatorAreNotCopied)
{
    CStyloPRM::PrmEntry source = entry(1, L"ab");
    source.name[5] = L'z';
    const CStyloPRM::PrmEntry copy(source);
    EXPECT_EQ(std::wstring(copy.name), L"ab");
    EXPECT_EQ(copy.name[5], L'\0');
}

TEST(StyloEntry, selfAssignmentChangesNothing)
{
    CStyloPRM::PrmEntry record = entry(3, L"self");
    const CStyloPRM::PrmEntry& alias = record;
    record = alias;
    expectEntry(record, 3, L"self");
}

template <typename Record>
void expectEightByteMembers(std::size_t members)
{
    EXPECT_EQ(sizeof(Record), 8 * members);
}

TEST(SmallRecords, haveTheirSizes)
{
    expectEightByteMembers<CBBManager>(7);
    expectEightByteMembers<CLevel>(5);
    expectEightByteMembers<CPhotoSensor>(3);
    expectEightByteMembers<JSplineBLandform>(6);
}

template <typename Record>
void expectCopiesOf(const Record& source, bool (*same)(const Record&, const Record&))
{
    const Record untouched;
    EXPECT_FALSE(same(untouched, source));
    const Record copy(source);
    EXPECT_TRUE(same(copy, source));
    Record target;
    EXPECT_EQ(&(target = source), &target);
    EXPECT_TRUE(same(target, source));
    const Record& alias = target;
    target = alias;
    EXPECT_TRUE(same(target, source)) << "assigned to itself";
}

TEST(SmallRecords, copiesCarryEveryMemberAndAssignmentReturnsTheTarget)
{
    CBBManager manager;
    number(manager.members, 1);
    manager.value = 0.1;
    expectCopiesOf<CBBManager>(manager, [](const CBBManager& a, const CBBManager& b) {
        return std::equal(std::begin(a.members), std::end(a.members), b.members) && a.value == b.value;
    });

    CLevel level;
    number(level.members, 11);
    level.value = 1.1;
    expectCopiesOf<CLevel>(level, [](const CLevel& a, const CLevel& b) {
        return std::equal(std::begin(a.members), std::end(a.members), b.members) && a.value == b.value;
    });

    CPhotoSensor sensor;
    number(sensor.values, 21);
    expectCopiesOf<CPhotoSensor>(sensor, [](const CPhotoSensor& a, const CPhotoSensor& b) {
        return std::equal(std::begin(a.values), std::end(a.values), b.values);
    });

    JSplineBLandform spline;
    number(spline.members, 31);
    expectCopiesOf<JSplineBLandform>(spline, [](const JSplineBLandform& a, const JSplineBLandform& b) {
        return std::equal(std::begin(a.members), std::end(a.members), b.members);
    });
}

TEST(AdmModule, givesItsThermalStatusUnchanged)
{
    CADMModule module;
    EXPECT_EQ(module.getThermalStatus(), 0);
    for (const int status : {-1, 7, 0x7fffffff}) {
        module.thermalStatus = status;
        EXPECT_EQ(std::as_const(module).getThermalStatus(), status);
    }
}

} // namespace
