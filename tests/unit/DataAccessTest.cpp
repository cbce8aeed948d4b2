// Data refs: finding and validating handles, reads and writes routed to the
// owner inside its dispatch, publishing, withdrawing and unload clean-up.

#include "DataAccessFixture.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using DataRefTest = DataAccessTest;

VORNDataRef ByteInto(VORNDataRef ref, int bytes)
{
    return reinterpret_cast<VORNDataRef>(reinterpret_cast<char*>(ref) + bytes);
}

// Slot n of a pool block, as the handle a plug-in would pass.
VORNDataRef Slot(const DataRefBlock* block, int n)
{
    return const_cast<VORNDataRef>(&block->records[n]);
}

// Publishes fresh names until the pool has at least `blocks` blocks; returns
// the handles in order.
std::vector<VORNDataRef> FillUntilBlocks(int id, const std::string& prefix, Cell& cell, int blocks)
{
    auto count = [] {
        int n = 0;
        for (const DataRefBlock* b = VORNOldestDataRefBlock(); b; b = b->next)
            ++n;
        return n;
    };
    std::vector<VORNDataRef> refs;
    StDispatchCallback guard(id);
    while (count() < blocks || VORNNewestDataRefBlock()->used == 0) {
        const std::string name = prefix + std::to_string(refs.size());
        refs.push_back(VORNRegisterDataAccessor(name.c_str(), VORN_DATA_INT, 1, ReadInt, nullptr,
                                                nullptr, nullptr, nullptr, nullptr, nullptr,
                                                nullptr, nullptr, nullptr, nullptr, nullptr,
                                                &cell, &cell));
    }
    return refs;
}

// ---- finding -----------------------------------------------------------------------

TEST_F(DataRefTest, FindReturnsTheRegisteredHandleByExactName)
{
    Cell cell{"a"};
    VORNDataRef ref = RegisterAll(owner, Name("Alt"), cell);
    ASSERT_NE(ref, nullptr);
    EXPECT_EQ(As(reader, [&] { return VORNFindDataRef(Name("Alt").c_str()); }), ref);
    EXPECT_EQ(VORNFindDataRef(Name("alt").c_str()), nullptr);
    EXPECT_EQ(VORNFindDataRef(Name("Alt ").c_str()), nullptr);
    EXPECT_EQ(VORNFindDataRef(Name("Al").c_str()), nullptr);
    EXPECT_EQ(VORNFindDataRef(nullptr), nullptr);
}

TEST_F(DataRefTest, UnregisteredNameIsNotFoundButItsRecordStaysAndComesBack)
{
    Cell cell{"a"};
    const std::string name = Name("x");
    VORNDataRef ref = RegisterAll(owner, name, cell);
    As(owner, [&] { VORNUnregisterDataAccessor(ref); });
    EXPECT_EQ(VORNFindDataRef(name.c_str()), nullptr);
    ASSERT_EQ(VORNDataRefRecord(name), ref) << "the name keeps its entry and record";
    EXPECT_EQ(ref->name, name);
    const int created = VORNDataRefRecordCount();
    EXPECT_EQ(RegisterAll(other, name, cell), ref);
    EXPECT_EQ(VORNDataRefRecordCount(), created) << "reviving creates no record";
    EXPECT_EQ(VORNFindDataRef(name.c_str()), ref);
}

// ---- validating ----------------------------------------------------------------------

TEST_F(DataRefTest, IsDataRefGoodAcceptsOnlyLiveRecordStarts)
{
    Cell cell{"a"};
    VORNDataRef ref = RegisterAll(owner, Name("x"), cell);
    EXPECT_EQ(VORNIsDataRefGood(ref), 1);
    EXPECT_EQ(VORNIsDataRefGood(nullptr), 0);
    EXPECT_EQ(VORNIsDataRefGood(ByteInto(ref, 1)), 0);
    EXPECT_EQ(VORNIsDataRefGood(ByteInto(ref, sizeof(VORNData_t) - 1)), 0);
    VORNData_t notInPool{};
    EXPECT_EQ(VORNIsDataRefGood(&notInPool), 0);
    EXPECT_EQ(VORNIsDataRefGood(reinterpret_cast<VORNDataRef>(&cell)), 0);
    As(owner, [&] { VORNUnregisterDataAccessor(ref); });
    EXPECT_EQ(VORNIsDataRefGood(ref), 0) << "an orphan is not good";
}

TEST_F(DataRefTest, IsDataRefGoodRejectsSlotsNotHandedOutYet)
{
    Cell cell{"a"};
    FillUntilBlocks(owner, Name("n"), cell, 1);
    const DataRefBlock* newest = VORNNewestDataRefBlock();
    ASSERT_LT(newest->used, newest->capacity);
    VORNDataRef unhanded = Slot(newest, newest->used);
    EXPECT_EQ(VORNIsDataRefGood(unhanded), 0);
    EXPECT_EQ(VORNIsDataRefGood(Slot(newest, kDataRefBlockCapacity - 1)), 0);
    As(owner, [&] { VORNUnregisterDataAccessor(unhanded); });
    EXPECT_THAT(gErrors, ElementsAre("Dataref is illegal and cannot be unregistered."));
}

TEST_F(DataRefTest, ThirtyThirdRecordOpensANewBlockAndEarlierHandlesStayValid)
{
    Cell cell{"a", 41};
    // Fill the current newest block exactly, then add one more.
    std::vector<VORNDataRef> refs;
    auto newestHasRoom = [] {
        const DataRefBlock* newest = VORNNewestDataRefBlock();
        return newest == nullptr || newest->used < newest->capacity;
    };
    for (int n = 0; newestHasRoom(); ++n)
        refs.push_back(RegisterIntReader(owner, Name(std::to_string(n)), cell));
    const DataRefBlock* full = VORNNewestDataRefBlock();
    const DataRefBlock* oldest = VORNOldestDataRefBlock();
    const int created = VORNDataRefRecordCount();
    VORNDataRef next = RegisterIntReader(owner, Name("next"), cell);
    const DataRefBlock* newest = VORNNewestDataRefBlock();
    ASSERT_NE(newest, full);
    EXPECT_EQ(full->next, newest);
    EXPECT_EQ(VORNOldestDataRefBlock(), oldest);
    EXPECT_EQ(newest->capacity, 32);
    EXPECT_EQ(newest->used, 1);
    EXPECT_EQ(next, &newest->records[0]);
    EXPECT_EQ(VORNDataRefRecordCount(), created + 1);
    for (VORNDataRef ref : refs) {
        EXPECT_EQ(VORNIsDataRefGood(ref), 1);
        EXPECT_EQ(VORNGetDatai(ref), 41);
    }
}

TEST_F(DataRefTest, LiveRecordInTheThirdBlockIsGood)
{
    Cell cell{"a"};
    auto refs = FillUntilBlocks(owner, Name("n"), cell, 3);
    const DataRefBlock* third = VORNOldestDataRefBlock()->next->next;
    ASSERT_NE(third, nullptr);
    ASSERT_GT(third->used, 0);
    EXPECT_EQ(VORNIsDataRefGood(Slot(third, 0)), 1);
    EXPECT_EQ(VORNIsDataRefGood(refs.back()), 1);
    EXPECT_EQ(VORNIsDataRefGood(ByteInto(refs.back(), 8)), 0);
}

// ---- inspecting --------------------------------------------------------------------

TEST_F(DataRefTest, TypesAndWritableAreReportedAsRegisteredEvenForOrphans)
{
    Cell cell{"a"};
    VORNDataRef ref = RegisterAll(owner, Name("x"), cell, 0, VORN_DATA_FLOAT | VORN_DATA_BYTES);
    VORNDataRef writable = RegisterAll(owner, Name("w"), cell, 5, 0);
    EXPECT_EQ(VORNGetDataRefTypes(ref), 34);
    EXPECT_EQ(VORNCanWriteDataRef(ref), 0);
    EXPECT_EQ(VORNCanWriteDataRef(writable), 5) << "the flag itself, not 1";
    EXPECT_EQ(VORNGetDataRefTypes(nullptr), 0);
    EXPECT_EQ(VORNCanWriteDataRef(nullptr), 0);
    As(owner, [&] { VORNUnregisterDataAccessor(writable); });
    EXPECT_EQ(VORNGetDataRefTypes(writable), 0);
    EXPECT_EQ(VORNCanWriteDataRef(writable), 5);
}

// ---- reads and writes --------------------------------------------------------------

TEST_F(DataRefTest, ReadsAndWritesRunTheOwnersCallbacksInsideItsDispatch)
{
    Cell readCell{"r", 3, 0.5f, 9.75};
    Cell writeCell{"w"};
    VORNDataRef ref = RegisterAll(owner, Name("x"), readCell, 1, 63, &writeCell);
    int ints[2];
    float floats[2];
    char bytes[2];
    As(reader, [&] {
        EXPECT_EQ(VORNGetDatai(ref), 3);
        EXPECT_EQ(VORNGetDataf(ref), 0.5f);
        EXPECT_EQ(VORNGetDatad(ref), 9.75);
        EXPECT_EQ(VORNGetDatavi(ref, ints, 1, 2), 3);
        EXPECT_EQ(VORNGetDatavf(ref, nullptr, -4, 99), 4);
        EXPECT_EQ(VORNGetDatab(ref, bytes, 0, 2), 5);
        VORNSetDatai(ref, 11);
        VORNSetDataf(ref, 2.5f);
        VORNSetDatad(ref, -1.0);
        VORNSetDatavi(ref, ints, 7, -3);
        VORNSetDatavf(ref, floats, 0, 2);
        VORNSetDatab(ref, bytes, 0, 0);
        EXPECT_EQ(VORNGetMyID(), reader);
    });
    const std::string o = "@" + std::to_string(owner);
    EXPECT_THAT(gAccessLog,
                ElementsAre("r.readInt" + o, "r.readFloat" + o, "r.readDouble" + o,
                            "r.readIntArray" + o + "(" + FmtArgs(ints, 1, 2) + ")",
                            "r.readFloatArray" + o + "(" + FmtArgs((float*)nullptr, -4, 99) + ")",
                            "r.readData" + o + "(" + FmtArgs((void*)bytes, 0, 2) + ")",
                            "w.writeInt" + o + "(11)", "w.writeFloat" + o + "(" + Fmt(2.5f) + ")",
                            "w.writeDouble" + o + "(" + Fmt(-1.0) + ")",
                            "w.writeIntArray" + o + "(" + FmtArgs(ints, 7, -3) + ")",
                            "w.writeFloatArray" + o + "(" + FmtArgs(floats, 0, 2) + ")",
                            "w.writeData" + o + "(" + FmtArgs((void*)bytes, 0, 0) + ")"));
    EXPECT_EQ(writeCell.i, 11);
    EXPECT_EQ(readCell.i, 3);
    EXPECT_THAT(gErrors, IsEmpty());
}

TEST_F(DataRefTest, MissingCallbacksReadZeroAndDropWritesWithoutConversion)
{
    Cell cell{"a", 5};
    VORNDataRef ref = RegisterIntReader(owner, Name("x"), cell);
    int ints[4] = {};
    EXPECT_EQ(VORNGetDataf(ref), 0.0f);
    EXPECT_EQ(VORNGetDatad(ref), 0.0);
    EXPECT_EQ(VORNGetDatavi(ref, ints, 0, 4), 0);
    EXPECT_EQ(VORNGetDatavf(ref, nullptr, 0, 4), 0);
    EXPECT_EQ(VORNGetDatab(ref, nullptr, 0, 4), 0);
    VORNSetDatai(ref, 9);
    VORNSetDatab(ref, ints, 0, 4);
    EXPECT_THAT(gAccessLog, IsEmpty());
    EXPECT_EQ(VORNGetDatai(ref), 5);
}

TEST_F(DataRefTest, ReadOnlyDataRefDropsEveryWrite)
{
    Cell cell{"a"};
    VORNDataRef ref = RegisterAll(owner, Name("x"), cell, 0);
    float floats[1] = {};
    VORNSetDatai(ref, 1);
    VORNSetDataf(ref, 1.0f);
    VORNSetDatad(ref, 1.0);
    VORNSetDatavi(ref, nullptr, 0, 1);
    VORNSetDatavf(ref, floats, 0, 1);
    VORNSetDatab(ref, floats, 0, 1);
    EXPECT_THAT(gAccessLog, IsEmpty());
    EXPECT_EQ(VORNGetDatai(ref), 7) << "reads still work";
}

TEST_F(DataRefTest, NullHandleReadsZeroAndIgnoresWrites)
{
    int ints[2] = {1, 2};
    EXPECT_EQ(VORNGetDatai(nullptr), 0);
    EXPECT_EQ(VORNGetDataf(nullptr), 0.0f);
    EXPECT_EQ(VORNGetDatad(nullptr), 0.0);
    EXPECT_EQ(VORNGetDatavi(nullptr, ints, 0, 2), 0);
    EXPECT_EQ(VORNGetDatavf(nullptr, nullptr, 0, 2), 0);
    EXPECT_EQ(VORNGetDatab(nullptr, ints, 0, 2), 0);
    VORNSetDatai(nullptr, 1);
    VORNSetDataf(nullptr, 1.0f);
    VORNSetDatad(nullptr, 1.0);
    VORNSetDatavi(nullptr, ints, 0, 2);
    VORNSetDatavf(nullptr, nullptr, 0, 2);
    VORNSetDatab(nullptr, ints, 0, 2);
    EXPECT_EQ(VORNGetDispatchedPlugin(), 0);
    EXPECT_THAT(gErrors, IsEmpty());
}

TEST_F(DataRefTest, DisabledOwnerReadsZeroAndDropsWritesSilently)
{
    Cell cell{"a", 8, 2.0f, 3.0};
    VORNDataRef ref = RegisterAll(owner, Name("x"), cell);
    Record(owner).enabled = false;
    int ints[1];
    As(reader, [&] {
        EXPECT_EQ(VORNGetDatai(ref), 0);
        EXPECT_EQ(VORNGetDataf(ref), 0.0f);
        EXPECT_EQ(VORNGetDatad(ref), 0.0);
        EXPECT_EQ(VORNGetDatavi(ref, ints, 0, 1), 0);
        EXPECT_EQ(VORNGetDatavf(ref, nullptr, 0, 1), 0);
        EXPECT_EQ(VORNGetDatab(ref, nullptr, 0, 1), 0);
        VORNSetDatai(ref, 1);
        VORNSetDataf(ref, 1.0f);
        VORNSetDatad(ref, 1.0);
        VORNSetDatavi(ref, ints, 0, 1);
        VORNSetDatavf(ref, nullptr, 0, 1);
        VORNSetDatab(ref, ints, 0, 1);
        EXPECT_EQ(VORNGetMyID(), reader);
    });
    EXPECT_THAT(gAccessLog, IsEmpty());
    EXPECT_THAT(gErrors, IsEmpty());
    EXPECT_EQ(VORNIsDataRefGood(ref), 1) << "disabled is not unregistered";
    Record(owner).enabled = true;
    EXPECT_EQ(VORNGetDatai(ref), 8);
}

TEST_F(DataRefTest, OrphanHandleIsANoOpUntilAnotherPluginRevivesTheName)
{
    Cell first{"first", 1};
    Cell second{"second", 2};
    const std::string name = Name("x");
    VORNDataRef kept = RegisterAll(owner, name, first);
    VORNRunCleanupHooks(owner);
    EXPECT_EQ(VORNGetDatai(kept), 0);
    VORNSetDatai(kept, 5);
    EXPECT_THAT(gAccessLog, IsEmpty());
    EXPECT_EQ(RegisterAll(other, name, second), kept);
    EXPECT_EQ(As(reader, [&] { return VORNGetDatai(kept); }), 2);
    EXPECT_THAT(gAccessLog, ElementsAre("second.readInt@" + std::to_string(other)));
}

TEST_F(DataRefTest, RevivedRecordKeepsNothingOfItsFormerOwner)
{
    Cell first{"first"};
    Cell second{"second", 4};
    const std::string name = Name("x");
    VORNDataRef ref = RegisterAll(owner, name, first, 1, 63);
    As(owner, [&] { VORNUnregisterDataAccessor(ref); });
    EXPECT_EQ(RegisterIntReader(other, name, second), ref);
    EXPECT_EQ(VORNGetDataRefTypes(ref), VORN_DATA_INT);
    EXPECT_EQ(VORNCanWriteDataRef(ref), 1);
    EXPECT_EQ(VORNGetDataf(ref), 0.0f);
    VORNSetDatai(ref, 3);
    EXPECT_EQ(VORNGetDatai(ref), 4);
    EXPECT_THAT(gAccessLog, ElementsAre("second.readInt@" + std::to_string(other)));
}

TEST_F(DataRefTest, HostOwnedDataRefWorksBeforeAnyPluginIsRegistered)
{
    VORNClearPluginRegistry();
    StDispatchCallback asHost(0);
    Cell cell{"host", 12};
    VORNDataRef ref = RegisterAll(0, Name("x"), cell);
    EXPECT_EQ(ref->owner, 0);
    EXPECT_EQ(VORNGetDatai(ref), 12);
    EXPECT_THAT(gAccessLog, ElementsAre("host.readInt@0"));
}

// A callback of one data ref that reads and writes another owner's data ref.
VORNDataRef gInner = nullptr;
int NestedRead(void* refcon)
{
    Note(refcon, "outerBefore");
    const int inner = VORNGetDatai(gInner);
    VORNSetDatai(gInner, inner + 1);
    Note(refcon, "outerAfter");
    return inner * 10;
}

TEST_F(DataRefTest, CallbackReadingAnotherDataRefNestsTheDispatch)
{
    Cell innerCell{"inner", 4};
    Cell outerCell{"outer"};
    gInner = RegisterAll(other, Name("inner"), innerCell);
    VORNDataRef outer = As(owner, [&] {
        return VORNRegisterDataAccessor(Name("outer").c_str(), VORN_DATA_INT, 1, NestedRead,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, &outerCell,
                                        nullptr);
    });
    EXPECT_EQ(As(reader, [&] {
                  const int value = VORNGetDatai(outer);
                  EXPECT_EQ(VORNGetMyID(), reader);
                  return value;
              }),
              40);
    const std::string o = std::to_string(owner), i = std::to_string(other);
    EXPECT_THAT(gAccessLog, ElementsAre("outer.outerBefore@" + o, "inner.readInt@" + i,
                                        "inner.writeInt@" + i + "(5)", "outer.outerAfter@" + o));
}

int ThrowingRead(void*)
{
    throw std::runtime_error("owner failed");
}
void ThrowingWrite(void*, float)
{
    throw std::runtime_error("owner failed");
}

TEST_F(DataRefTest, ExceptionFromAnOwnerCallbackEndsTheCallWithZero)
{
    VORNDataRef ref = As(owner, [&] {
        return VORNRegisterDataAccessor(Name("x").c_str(), 3, 1, ThrowingRead, nullptr, nullptr,
                                        ThrowingWrite, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    });
    As(reader, [&] {
        EXPECT_EQ(VORNGetDatai(ref), 0);
        VORNSetDataf(ref, 1.0f);
        EXPECT_EQ(VORNGetMyID(), reader);
    });
}

// ---- registering -------------------------------------------------------------------

TEST_F(DataRefTest, RegisteringANameTwiceFromTheSamePluginKeepsTheFirst)
{
    Cell first{"first", 1};
    Cell second{"second", 2};
    const std::string name = Name("x");
    VORNDataRef ref = RegisterAll(owner, name, first, 1, VORN_DATA_INT);
    EXPECT_EQ(RegisterAll(owner, name, second, 0, VORN_DATA_DOUBLE), ref);
    EXPECT_THAT(gErrors, ElementsAre("Dataref is already registered by someone else."));
    EXPECT_EQ(VORNGetDatai(ref), 1);
    EXPECT_EQ(VORNGetDataRefTypes(ref), VORN_DATA_INT);
    EXPECT_EQ(VORNCanWriteDataRef(ref), 1);
    EXPECT_EQ(ref->owner, owner);
}

TEST_F(DataRefTest, RegisteringAnotherPluginsNameReportsAndReturnsItsHandle)
{
    Cell first{"first", 1};
    Cell second{"second", 2};
    const std::string name = Name("x");
    VORNDataRef ref = RegisterAll(owner, name, first);
    const int created = VORNDataRefRecordCount();
    EXPECT_EQ(RegisterAll(other, name, second), ref);
    EXPECT_THAT(gErrors, ElementsAre("Dataref is already registered by someone else."));
    EXPECT_EQ(VORNDataRefRecordCount(), created);
    EXPECT_EQ(ref->owner, owner);
    EXPECT_EQ(As(other, [&] { return VORNGetDatai(ref); }), 1) << "the handle is usable";
}

TEST_F(DataRefTest, RegisteringWithANullNameReturnsNull)
{
    Cell cell{"a"};
    const int created = VORNDataRefRecordCount();
    EXPECT_EQ(As(owner, [&] { return VORNRegisterDataAccessor(
                                   nullptr, 1, 1, ReadInt, nullptr, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                   &cell, &cell); }),
              nullptr);
    EXPECT_EQ(VORNDataRefRecordCount(), created);
}

// ---- unregistering -------------------------------------------------------------------

TEST_F(DataRefTest, UnregisterTwiceReportsNotOwned)
{
    Cell cell{"a"};
    VORNDataRef ref = RegisterAll(owner, Name("x"), cell);
    As(owner, [&] {
        VORNUnregisterDataAccessor(ref);
        VORNUnregisterDataAccessor(ref);
    });
    EXPECT_THAT(gErrors, ElementsAre("Dataref is not owned by you - you cannot unregsiter."));
    EXPECT_EQ(ref->owner, -1);
}

TEST_F(DataRefTest, UnregisteringAnotherPluginsDataRefIsRefused)
{
    Cell cell{"a", 6};
    VORNDataRef ref = RegisterAll(owner, Name("x"), cell);
    As(other, [&] { VORNUnregisterDataAccessor(ref); });
    EXPECT_THAT(gErrors, ElementsAre("Dataref is not owned by you - you cannot unregsiter."));
    EXPECT_EQ(VORNIsDataRefGood(ref), 1);
    EXPECT_EQ(VORNGetDatai(ref), 6);
}

TEST_F(DataRefTest, UnregisteringPointersThatAreNotRecordsIsIllegal)
{
    Cell cell{"a"};
    VORNDataRef ref = RegisterAll(owner, Name("x"), cell);
    VORNData_t outside{};
    outside.owner = owner;
    As(owner, [&] {
        VORNUnregisterDataAccessor(nullptr);
        VORNUnregisterDataAccessor(ByteInto(ref, 4));
        VORNUnregisterDataAccessor(&outside);
    });
    const char* illegal = "Dataref is illegal and cannot be unregistered.";
    EXPECT_THAT(gErrors, ElementsAre(illegal, illegal, illegal));
    EXPECT_EQ(ref->owner, owner);
    EXPECT_EQ(outside.owner, owner);
}

TEST_F(DataRefTest, HostCanUnregisterItsOwnDataRef)
{
    Cell cell{"a"};
    VORNDataRef ref = RegisterAll(0, Name("x"), cell);
    VORNUnregisterDataAccessor(ref);
    EXPECT_EQ(VORNFindDataRef(Name("x").c_str()), nullptr);
}

// ---- unload ---------------------------------------------------------------------------

TEST_F(DataRefTest, UnloadOrphansOnlyThatPluginsDataRefs)
{
    Cell cell{"a"};
    VORNDataRef mine1 = RegisterAll(owner, Name("m1"), cell);
    VORNDataRef mine2 = RegisterAll(owner, Name("m2"), cell);
    VORNDataRef theirs = RegisterAll(other, Name("t"), cell);
    VORNDataRef hosts = RegisterAll(0, Name("h"), cell);
    VORNRunCleanupHooks(owner);
    EXPECT_EQ(mine1->owner, -1);
    EXPECT_EQ(mine2->owner, -1);
    EXPECT_EQ(theirs->owner, other);
    EXPECT_EQ(hosts->owner, 0);
    EXPECT_EQ(VORNFindDataRef(Name("m1").c_str()), nullptr);
    EXPECT_NE(VORNDataRefRecord(Name("m1")), nullptr);
    EXPECT_EQ(VORNFindDataRef(Name("t").c_str()), theirs);
}

TEST_F(DataRefTest, UnloadFollowsOwnershipThroughUnregisteringAndReviving)
{
    Cell cell{"a"};
    auto held = [](int id) {
        VORNPluginInventory inventory{};
        VORNCountDataRefHoldings(id, &inventory);
        return inventory.dataRefs;
    };
    VORNDataRef first = RegisterAll(owner, Name("1"), cell);
    VORNDataRef middle = RegisterAll(owner, Name("2"), cell);
    VORNDataRef last = RegisterAll(owner, Name("3"), cell);
    VORNDataRef theirs = RegisterAll(other, Name("4"), cell);
    const int ownerHeld = held(owner);
    const int otherHeld = held(other);
    As(owner, [&] { VORNUnregisterDataAccessor(middle); });
    ASSERT_EQ(RegisterAll(other, Name("2"), cell), middle);
    As(owner, [&] { VORNUnregisterDataAccessor(first); });
    EXPECT_EQ(held(owner), ownerHeld - 2);
    EXPECT_EQ(held(other), otherHeld + 1);
    VORNRunCleanupHooks(owner);
    EXPECT_EQ(last->owner, -1);
    EXPECT_EQ(middle->owner, other) << "revived, it belongs to the plug-in that revived it";
    EXPECT_EQ(held(owner), 0);
    EXPECT_EQ(held(other), otherHeld + 1);
    VORNRunCleanupHooks(other);
    EXPECT_EQ(middle->owner, -1);
    EXPECT_EQ(theirs->owner, -1);
    EXPECT_EQ(held(other), 0);
}

}  // namespace
