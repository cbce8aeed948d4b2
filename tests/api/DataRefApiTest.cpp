// Data refs and shared data through the real library, published and read by
// agent plug-ins (1 owner, 2 reader, 3 other) and by the host itself.
// Records outlive the library, so every test uses names of its own.

#include "AgentHost.h"
#include "VORN/VORNDataAccess.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

namespace {

// Accessor and subscriber calls: "<tag>.<callback>@<dispatched id>(<args>)".
std::vector<std::string> gLog;

struct Cell {
    Cell(std::string t, int iv = 7, float fv = 1.5f, double dv = 2.25)
        : tag(std::move(t)), i(iv), f(fv), d(dv)
    {
    }
    std::string tag;
    int i;
    float f;
    double d;
    std::function<void()> action;  // run by a subscriber after logging
};

std::string Args(const void* values, int offset, int count)
{
    std::ostringstream out;
    out << values << "," << offset << "," << count;
    return out.str();
}

Cell& Note(void* refcon, const char* callback, const std::string& args = "")
{
    Cell& cell = *static_cast<Cell*>(refcon);
    gLog.push_back(cell.tag + "." + callback + "@" + std::to_string(VORNGetMyID()) +
                   (args.empty() ? "" : "(" + args + ")"));
    return cell;
}

int ReadInt(void* r) { return Note(r, "readInt").i; }
void WriteInt(void* r, int v) { Note(r, "writeInt", std::to_string(v)).i = v; }
float ReadFloat(void* r) { return Note(r, "readFloat").f; }
void WriteFloat(void* r, float v) { Note(r, "writeFloat", std::to_string(v)).f = v; }
double ReadDouble(void* r) { return Note(r, "readDouble").d; }
void WriteDouble(void* r, double v) { Note(r, "writeDouble", std::to_string(v)).d = v; }
// The array readers answer 3, 4 and 5 elements, to tell them apart.
int ReadInts(void* r, int* v, int o, int m) { return Note(r, "readInts", Args(v, o, m)), 3; }
void WriteInts(void* r, int* v, int o, int c) { Note(r, "writeInts", Args(v, o, c)); }
int ReadFloats(void* r, float* v, int o, int m) { return Note(r, "readFloats", Args(v, o, m)), 4; }
void WriteFloats(void* r, float* v, int o, int c) { Note(r, "writeFloats", Args(v, o, c)); }
int ReadBytes(void* r, void* v, int o, int m) { return Note(r, "readBytes", Args(v, o, m)), 5; }
void WriteBytes(void* r, void* v, int o, int c) { Note(r, "writeBytes", Args(v, o, c)); }

void Changed(void* refcon)
{
    Cell& cell = Note(refcon, "changed");
    if (cell.action)
        cell.action();
}

// Each unload as the observer sees it: "<id>: refs N shared N", plus what
// the test wants to look at then.
std::vector<std::string> gUnloads;
std::function<std::string()> gAtUnload;
void ObserveUnload(VORNPluginID id, const VORNPluginInventory* left)
{
    gUnloads.push_back(std::to_string(id) + ": refs " + std::to_string(left->dataRefs) +
                       " shared " + std::to_string(left->sharedData) +
                       (gAtUnload ? " " + gAtUnload() : ""));
}

class DataRefApiTest : public AgentHostTest {
protected:
    void SetUp() override
    {
        AgentHostTest::SetUp();
        gLog.clear();
        gUnloads.clear();
        gAtUnload = nullptr;
    }

    void StartThree() { StartAgents(3, true); }

    static std::string Name(const std::string& suffix)
    {
        return std::string("test/api/") +
               ::testing::UnitTest::GetInstance()->current_test_info()->name() + "/" + suffix;
    }

    // Publishes name as plug-in id (0: the host, outside any plug-in) with
    // every accessor, reads served from `read`, writes to `write` (or read).
    static VORNDataRef Publish(int id, const std::string& name, Cell& read, int writable = 1,
                               int types = 63, Cell* write = nullptr)
    {
        VORNDataRef ref = nullptr;
        auto publish = [&] {
            ref = VORNRegisterDataAccessor(name.c_str(), types, writable, ReadInt, WriteInt,
                                           ReadFloat, WriteFloat, ReadDouble, WriteDouble,
                                           ReadInts, WriteInts, ReadFloats, WriteFloats,
                                           ReadBytes, WriteBytes, &read, write ? write : &read);
        };
        id == 0 ? publish() : As(id, publish);
        return ref;
    }

    // Publishes name as plug-in id with only an int reader.
    static VORNDataRef PublishIntReader(int id, const std::string& name, Cell& cell)
    {
        return AsReturning<VORNDataRef>(id, [&] {
            return VORNRegisterDataAccessor(name.c_str(), VORN_DATA_INT, 1, ReadInt, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, &cell, &cell);
        });
    }

    static void Unpublish(int id, VORNDataRef ref)
    {
        As(id, [&] { VORNUnregisterDataAccessor(ref); });
    }

    static int Share(int id, const std::string& name, int type, Cell* cell)
    {
        return AsReturning<int>(id, [&] {
            return VORNShareData(name.c_str(), type, cell ? Changed : nullptr, cell);
        });
    }

    static int Unshare(int id, const std::string& name, int type, Cell* cell)
    {
        return AsReturning<int>(id, [&] { return VORNUnshareData(name.c_str(), type, Changed, cell); });
    }

    static VORNDataRef Find(const std::string& name) { return VORNFindDataRef(name.c_str()); }
    static void Write(const std::string& name, int value) { VORNSetDatai(Find(name), value); }

    static VORNPluginInventory Held(int id)
    {
        VORNPluginInventory inventory{};
        inventory.structSize = sizeof inventory;
        EXPECT_EQ(VORNGetPluginInventory(id, &inventory), 1);
        return inventory;
    }

    void ShutDownObserved()
    {
        VORNSetUnloadObserver(ObserveUnload);
        VORNShutdownPlugins();
        started = false;
        VORNSetUnloadObserver(nullptr);
    }

    const int owner = 1, reader = 2, other = 3;
    const std::string o = "@1", r = "@2", x = "@3";
};

// ---- the build string the library writes at start ------------------------------------

std::vector<std::string> gBuildWrites;
void WriteBuildString(void*, void* bytes, int offset, int count)
{
    gBuildWrites.push_back(std::to_string(offset) + ":" +
                           std::string(static_cast<const char*>(bytes), count));
}

TEST_F(DataRefApiTest, BuildStringArrivesOnceWithItsTerminatingZeroUnlessReadOnly)
{
    for (int writable : {1, 0}) {
        SCOPED_TRACE(writable);
        gBuildWrites.clear();
        VORNDataRef ref = VORNRegisterDataAccessor(
            "sim/version/vorn_build_string", VORN_DATA_BYTES, writable, nullptr, nullptr, nullptr,
            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
            WriteBuildString, nullptr, nullptr);
        Start();
        VORNShutdownPlugins();
        started = false;
        VORNUnregisterDataAccessor(ref);
        ASSERT_EQ(gBuildWrites.size(), writable ? 1u : 0u);
        if (writable) {
            const std::string& write = gBuildWrites[0];
            EXPECT_EQ(write.size(), 23u);
            EXPECT_EQ(write.back(), '\0');
            EXPECT_THAT(write.substr(0, 22), MatchesRegex("0:[A-Z][a-z][a-z] [ 0-9][0-9] [0-9]{4} "
                                                          "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
        }
    }
}

// ---- data refs -----------------------------------------------------------------------------

TEST_F(DataRefApiTest, ReadsAndWritesRunTheOwnersCallbacksInsideItsDispatch)
{
    StartThree();
    Cell readCell{"r", 3, 0.5f, 9.75}, writeCell{"w"};
    VORNDataRef ref = Publish(owner, Name("x"), readCell, 1, 63, &writeCell);
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
    EXPECT_THAT(gLog, ElementsAre("r.readInt" + o, "r.readFloat" + o, "r.readDouble" + o,
                                  "r.readInts" + o + "(" + Args(ints, 1, 2) + ")",
                                  "r.readFloats" + o + "(" + Args(nullptr, -4, 99) + ")",
                                  "r.readBytes" + o + "(" + Args(bytes, 0, 2) + ")",
                                  "w.writeInt" + o + "(11)",
                                  "w.writeFloat" + o + "(" + std::to_string(2.5f) + ")",
                                  "w.writeDouble" + o + "(" + std::to_string(-1.0) + ")",
                                  "w.writeInts" + o + "(" + Args(ints, 7, -3) + ")",
                                  "w.writeFloats" + o + "(" + Args(floats, 0, 2) + ")",
                                  "w.writeBytes" + o + "(" + Args(bytes, 0, 0) + ")"));
    EXPECT_EQ(writeCell.i, 11);
    EXPECT_EQ(readCell.i, 3);
    EXPECT_THAT(gErrorTexts, IsEmpty());
}

// Every family of calls on a data ref that cannot serve it: nothing reaches
// the owner, reads give zero.
TEST_F(DataRefApiTest, ReadOnlyIntOnlyAndDisabledOwnersServeNothingElse)
{
    StartThree();
    Cell cell{"a", 8, 2.0f, 3.0}, intOnly{"i", 5};
    VORNDataRef readOnly = Publish(owner, Name("ro"), cell, 0, VORN_DATA_FLOAT | VORN_DATA_BYTES);
    VORNDataRef flagged = Publish(owner, Name("flag"), cell, 5, 0);
    VORNDataRef ints = PublishIntReader(owner, Name("int"), intOnly);
    VORNDataRef full = Publish(other, Name("full"), cell);
    EXPECT_EQ(VORNGetDataRefTypes(readOnly), 34);
    EXPECT_EQ(VORNCanWriteDataRef(readOnly), 0);
    EXPECT_EQ(VORNCanWriteDataRef(flagged), 5) << "the flag itself, not 1";
    auto writeAll = [](VORNDataRef ref) {
        int values[4] = {};
        VORNSetDatai(ref, 1);
        VORNSetDataf(ref, 1.0f);
        VORNSetDatad(ref, 1.0);
        VORNSetDatavi(ref, values, 0, 1);
        VORNSetDatavf(ref, reinterpret_cast<float*>(values), 0, 1);
        VORNSetDatab(ref, values, 0, 4);
    };
    auto readAllButInt = [](VORNDataRef ref) {
        int values[4] = {};
        return std::to_string(VORNGetDataf(ref)) + std::to_string(VORNGetDatad(ref)) +
               std::to_string(VORNGetDatavi(ref, values, 0, 4)) +
               std::to_string(VORNGetDatavf(ref, nullptr, 0, 4)) +
               std::to_string(VORNGetDatab(ref, values, 0, 4));
    };
    const std::string zeros = "0.0000000.000000000";
    writeAll(readOnly);
    writeAll(ints);
    EXPECT_EQ(readAllButInt(ints), zeros);
    VORNDisablePlugin(other);
    As(reader, [&] {
        writeAll(full);
        EXPECT_EQ(VORNGetDatai(full), 0);
        EXPECT_EQ(readAllButInt(full), zeros);
        EXPECT_EQ(VORNGetMyID(), reader);
    });
    EXPECT_THAT(gLog, IsEmpty());
    EXPECT_EQ(VORNIsDataRefGood(full), 1) << "disabled is not withdrawn";
    VORNEnablePlugin(other);
    EXPECT_EQ(VORNGetDatai(full), 8);
    EXPECT_EQ(VORNGetDatai(ints), 5);
    EXPECT_EQ(VORNGetDataf(readOnly), 2.0f) << "read-only still reads";
    EXPECT_THAT(gLog, ElementsAre("a.readInt" + x, "i.readInt" + o, "a.readFloat" + o));
    EXPECT_THAT(gErrorTexts, IsEmpty());
    Unpublish(owner, readOnly);
    Unpublish(owner, flagged);
    EXPECT_EQ(VORNGetDataRefTypes(readOnly), 34) << "withdrawn, it is reported as registered";
    EXPECT_EQ(VORNCanWriteDataRef(flagged), 5);
}

// A name is held by its first publisher; withdrawn, its handle stays for the
// next one, who brings nothing of the former's.
TEST_F(DataRefApiTest, ANameIsHeldByItsFirstPublisherAndThenByTheNext)
{
    StartThree();
    Cell first{"first", 1}, second{"second", 4};
    const std::string name = Name("x");
    VORNDataRef ref = Publish(owner, name, first, 1, VORN_DATA_INT);
    EXPECT_EQ(Publish(owner, name, second, 0, VORN_DATA_DOUBLE), ref);
    EXPECT_EQ(Publish(other, name, second), ref);
    EXPECT_THAT(gErrorTexts, ElementsAre("Dataref is already registered by someone else.",
                                         "Dataref is already registered by someone else."));
    EXPECT_EQ(VORNGetDataRefTypes(ref), VORN_DATA_INT);
    EXPECT_EQ(VORNCanWriteDataRef(ref), 1);
    EXPECT_EQ(AsReturning<int>(other, [&] { return VORNGetDatai(ref); }), 1);
    EXPECT_EQ(Held(owner).dataRefs, 1);
    EXPECT_EQ(Held(other).dataRefs, 0);

    Unpublish(owner, ref);
    EXPECT_EQ(Find(name), nullptr);
    VORNSetDatai(ref, 5);
    EXPECT_EQ(PublishIntReader(other, name, second), ref);
    EXPECT_EQ(Find(name), ref);
    EXPECT_EQ(VORNGetDataRefTypes(ref), VORN_DATA_INT);
    EXPECT_EQ(VORNGetDataf(ref), 0.0f);
    VORNSetDatai(ref, 3);
    EXPECT_EQ(AsReturning<int>(reader, [&] { return VORNGetDatai(ref); }), 4);
    EXPECT_THAT(gLog, ElementsAre("first.readInt" + o, "second.readInt" + x));
}

// A read of one data ref whose callback reads and writes another owner's.
VORNDataRef gInner = nullptr;
int NestedRead(void* refcon)
{
    Note(refcon, "before");
    const int inner = VORNGetDatai(gInner);
    VORNSetDatai(gInner, inner + 1);
    Note(refcon, "after");
    return inner * 10;
}

TEST_F(DataRefApiTest, ACallbackReadingAnotherDataRefNestsTheDispatch)
{
    StartThree();
    Cell innerCell{"inner", 4}, outerCell{"outer"};
    gInner = Publish(other, Name("inner"), innerCell);
    VORNDataRef outer = AsReturning<VORNDataRef>(owner, [&] {
        return VORNRegisterDataAccessor(Name("outer").c_str(), VORN_DATA_INT, 1, NestedRead,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, &outerCell,
                                        nullptr);
    });
    As(reader, [&] {
        EXPECT_EQ(VORNGetDatai(outer), 40);
        EXPECT_EQ(VORNGetMyID(), reader);
    });
    EXPECT_THAT(gLog, ElementsAre("outer.before" + o, "inner.readInt" + x,
                                  "inner.writeInt" + x + "(5)", "outer.after" + o));
}

// Unload orphans exactly the data refs the plug-in holds then, following
// withdrawals and revivals; the host's, published before the start, stay.
TEST_F(DataRefApiTest, UnloadWithdrawsOnlyWhatThePluginHoldsThen)
{
    Cell cell{"a"}, hostCell{"host", 12};
    VORNDataRef hosts = Publish(0, Name("h"), hostCell);
    StartThree();
    EXPECT_EQ(AsReturning<VORNDataRef>(reader, [] { return Find(Name("h")); }), hosts);
    EXPECT_EQ(Find(Name("H")), nullptr);
    EXPECT_EQ(Find(Name("h ")), nullptr);
    EXPECT_EQ(Find(Name("")), nullptr);
    EXPECT_EQ(VORNGetDatai(hosts), 12);
    EXPECT_THAT(gLog, ElementsAre("host.readInt@0"));
    EXPECT_EQ(Held(0).dataRefs, 1);
    VORNDataRef first = Publish(owner, Name("1"), cell);
    VORNDataRef middle = Publish(owner, Name("2"), cell);
    VORNDataRef last = Publish(owner, Name("3"), cell);
    VORNDataRef theirs = Publish(other, Name("4"), cell);
    Unpublish(owner, middle);
    ASSERT_EQ(Publish(other, Name("2"), cell), middle);
    Unpublish(owner, first);
    gAtUnload = [&] {
        std::string good;
        for (VORNDataRef ref : {first, middle, last, theirs, hosts})
            good += std::to_string(VORNIsDataRefGood(ref));
        return good;
    };
    ShutDownObserved();
    EXPECT_THAT(gUnloads, ElementsAre("1: refs 1 shared 0 01111", "2: refs 0 shared 0 01011",
                                      "3: refs 2 shared 0 01011"));
    EXPECT_EQ(Find(Name("3")), nullptr);
    EXPECT_EQ(Find(Name("4")), nullptr);
    EXPECT_EQ(Find(Name("h")), hosts);
    VORNUnregisterDataAccessor(hosts);
    EXPECT_EQ(Find(Name("h")), nullptr);
}

// ---- shared data ---------------------------------------------------------------------------

TEST_F(DataRefApiTest, ASharedItemIsAWritableHostDataRefOfItsType)
{
    StartThree();
    const std::string name = Name("d");
    EXPECT_EQ(Share(owner, name, VORN_DATA_DOUBLE, nullptr), 1);
    VORNDataRef ref = Find(name);
    ASSERT_NE(ref, nullptr);
    EXPECT_EQ(VORNIsDataRefGood(ref), 1);
    EXPECT_EQ(VORNCanWriteDataRef(ref), 1);
    EXPECT_EQ(VORNGetDataRefTypes(ref), VORN_DATA_DOUBLE);
    EXPECT_EQ(VORNGetMyID(), 0);
    As(reader, [&] { VORNSetDatad(ref, 6.5); });
    EXPECT_EQ(AsReturning<double>(other, [&] { return VORNGetDatad(ref); }), 6.5);
    EXPECT_EQ(Held(owner).dataRefs, 0);
    EXPECT_EQ(Held(owner).sharedData, 0) << "no callback, no subscription";

    // Scalars round-trip; the other families read zero and are not written.
    Share(owner, Name("i"), VORN_DATA_INT, nullptr);
    Share(owner, Name("f"), VORN_DATA_FLOAT, nullptr);
    VORNDataRef i = Find(Name("i")), f = Find(Name("f"));
    VORNSetDatai(i, -12345);
    VORNSetDataf(f, 0.25f);
    VORNSetDatai(f, 9);
    EXPECT_EQ(VORNGetDatai(i), -12345);
    EXPECT_EQ(VORNGetDataf(f), 0.25f);
    EXPECT_EQ(VORNGetDataf(i), 0.0f);
    EXPECT_EQ(VORNGetDatad(i), 0.0);
    EXPECT_EQ(VORNGetDatai(f), 0);

    // Arrays start with one element; a type of two bits gets no accessors.
    for (int type : {VORN_DATA_INT_ARRAY, VORN_DATA_FLOAT_ARRAY, VORN_DATA_BYTES})
        Share(owner, Name(std::to_string(type)), type, nullptr);
    EXPECT_EQ(VORNGetDatavi(Find(Name("16")), nullptr, 0, 0), 1);
    EXPECT_EQ(VORNGetDatavf(Find(Name("8")), nullptr, 0, 0), 1);
    EXPECT_EQ(VORNGetDatab(Find(Name("32")), nullptr, 0, 0), 1);
    Cell a{"a"};
    EXPECT_EQ(Share(owner, Name("two"), VORN_DATA_INT | VORN_DATA_FLOAT, &a), 1);
    VORNDataRef two = Find(Name("two"));
    EXPECT_EQ(VORNGetDataRefTypes(two), 3);
    VORNSetDatai(two, 5);
    VORNSetDataf(two, 5.0f);
    EXPECT_EQ(VORNGetDatai(two), 0);
    EXPECT_THAT(gLog, IsEmpty());

    // A name a plug-in publishes keeps its data ref; the item exists as well.
    Cell cell{"plugin", 3};
    VORNDataRef pluginRef = Publish(owner, Name("x"), cell);
    EXPECT_EQ(Share(reader, Name("x"), VORN_DATA_INT, &a), 1);
    EXPECT_EQ(Share(other, Name("x"), VORN_DATA_FLOAT, &a), 0) << "the item is an int";
    EXPECT_THAT(gErrorTexts, IsEmpty()) << "the failure is the host's";
    EXPECT_EQ(Find(Name("x")), pluginRef);
    EXPECT_EQ(VORNGetDatai(pluginRef), 3);
}

TEST_F(DataRefApiTest, SharedArraysGrowNeverShrinkAndRefuseBadRanges)
{
    StartThree();
    Cell a{"a"};
    Share(owner, Name("i"), VORN_DATA_INT_ARRAY, &a);
    VORNDataRef ints = Find(Name("i"));
    int values[10] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    As(reader, [&] { VORNSetDatavi(ints, values, 0, 10); });
    EXPECT_EQ(VORNGetDatavi(ints, nullptr, 0, 0), 10);
    int out[5] = {-1, -1, -1, -1, -1};
    EXPECT_EQ(VORNGetDatavi(ints, out, 8, 5), 2);
    EXPECT_THAT(out, ElementsAre(8, 9, -1, -1, -1));
    EXPECT_EQ(VORNGetDatavi(ints, out, 0, 3), 3);
    EXPECT_THAT(out, ElementsAre(0, 1, 2, -1, -1));
    EXPECT_EQ(VORNGetDatavi(ints, out, 10, 5), 0) << "offset at the end";
    EXPECT_EQ(VORNGetDatavi(ints, out, 11, 5), 0);
    gLog.clear();
    VORNSetDatavi(ints, values, INT_MAX / 4, 1);  // overflows once scaled to bytes
    VORNSetDatavi(ints, values, 1, INT_MAX);
    EXPECT_THAT(gLog, IsEmpty());
    EXPECT_EQ(VORNGetDatavi(ints, nullptr, 0, 0), 10);

    Share(owner, Name("f"), VORN_DATA_FLOAT_ARRAY, nullptr);
    VORNDataRef floats = Find(Name("f"));
    float first[2] = {1.0f, 2.0f}, later[1] = {7.0f};
    VORNSetDatavf(floats, first, 0, 2);
    VORNSetDatavf(floats, later, 5, 1);
    EXPECT_EQ(VORNGetDatavf(floats, nullptr, 0, 0), 6);
    VORNSetDatavf(floats, later, 0, 1);
    EXPECT_EQ(VORNGetDatavf(floats, nullptr, 0, 0), 6) << "storage never shrinks";
    float fout[6];
    EXPECT_EQ(VORNGetDatavf(floats, fout, 0, 6), 6);
    EXPECT_THAT(fout, ElementsAre(7.0f, 2.0f, 0.0f, 0.0f, 0.0f, 7.0f));
    EXPECT_EQ(VORNGetDatavi(floats, nullptr, 0, 0), 0) << "no int-array reader";

    Share(owner, Name("b"), VORN_DATA_BYTES, &a);
    VORNDataRef bytes = Find(Name("b"));
    char text[] = "hello";
    VORNSetDatab(bytes, text, 0, sizeof text);
    EXPECT_EQ(VORNGetDatab(bytes, nullptr, 0, 0), 6);
    char bout[16];
    std::memset(bout, 'x', sizeof bout);
    EXPECT_EQ(VORNGetDatab(bytes, bout, 0, sizeof bout), 6);
    EXPECT_STREQ(bout, "hello");
    EXPECT_EQ(VORNGetDatab(bytes, bout, 4, 1), 1);
    EXPECT_EQ(bout[0], 'o');
    gLog.clear();
    VORNSetDatab(bytes, nullptr, 8, 0);
    EXPECT_EQ(VORNGetDatab(bytes, nullptr, 0, 0), 8) << "an empty write at an offset grows";
    EXPECT_THAT(gLog, ElementsAre("a.changed" + o));
}

TEST_F(DataRefApiTest, SubscribersAreToldInOrderInTheirOwnDispatchPerEntry)
{
    StartThree();
    const std::string name = Name("x");
    Cell a{"a"}, b{"b"};
    Share(owner, name, VORN_DATA_INT, &a);
    Share(reader, name, VORN_DATA_INT, &b);
    Share(owner, name, VORN_DATA_INT, &a);
    VORNDataRef ref = Find(name);
    As(reader, [&] {
        VORNSetDatai(ref, 3);
        EXPECT_EQ(VORNGetMyID(), reader);
    });
    VORNSetDatai(ref, 3);  // unchanged, still told
    EXPECT_THAT(gLog, ElementsAre("a.changed" + o, "b.changed" + r, "a.changed" + o,
                                  "a.changed" + o, "b.changed" + r, "a.changed" + o));

    // Unsharing matches name, type, refcon and the calling plug-in, one entry
    // at a time.
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_FLOAT, &a), 0);
    EXPECT_EQ(Unshare(owner, Name("unknown"), VORN_DATA_INT, &a), 0);
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_INT, &b), 0);
    EXPECT_EQ(Unshare(reader, name, VORN_DATA_INT, &a), 0);
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_INT, &a), 1);
    gLog.clear();
    VORNDisablePlugin(reader);
    VORNSetDatai(ref, 4);
    VORNEnablePlugin(reader);
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_INT, &a), 1);
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_INT, &a), 0);
    VORNSetDatai(ref, 5);
    EXPECT_THAT(gLog, ElementsAre("a.changed" + o, "b.changed" + r))
        << "a disabled subscriber is skipped, not dropped";
    EXPECT_EQ(VORNGetDatai(ref), 5);
}

// The subscriber list changing while it is being walked.
TEST_F(DataRefApiTest, SubscribersChangingTheListDuringNotification)
{
    StartThree();
    // b unshares itself and the later c: c is skipped, d is not.
    const std::string n1 = Name("1");
    Cell a{"a"}, b{"b"}, c{"c"}, d{"d"};
    b.action = [&] {
        EXPECT_EQ(VORNUnshareData(n1.c_str(), VORN_DATA_INT, Changed, &b), 1);
        EXPECT_EQ(Unshare(owner, n1, VORN_DATA_INT, &c), 1);
    };
    Share(owner, n1, VORN_DATA_INT, &a);
    Share(reader, n1, VORN_DATA_INT, &b);
    Share(owner, n1, VORN_DATA_INT, &c);
    Share(other, n1, VORN_DATA_INT, &d);
    Write(n1, 1);
    Write(n1, 2);
    EXPECT_THAT(gLog, ElementsAre("a.changed" + o, "b.changed" + r, "d.changed" + x,
                                  "a.changed" + o, "d.changed" + x));

    // e subscribes 20 more (the list grows): they wait for the next write.
    const std::string n2 = Name("2");
    Cell e{"e"}, late{"late"};
    e.action = [&] {
        for (int n = 0; n < 20; ++n)
            VORNShareData(n2.c_str(), VORN_DATA_INT, Changed, &late);
        e.action = nullptr;
    };
    Share(owner, n2, VORN_DATA_INT, &e);
    gLog.clear();
    Write(n2, 1);
    EXPECT_THAT(gLog, ElementsAre("e.changed" + o));
    Write(n2, 2);
    EXPECT_EQ(gLog.size(), 22u);
    EXPECT_EQ(gLog.back(), "late.changed" + o);

    // g writes again until 3: each write notifies everyone, nested in g's.
    const std::string n3 = Name("3");
    Cell g{"g"}, h{"h"};
    g.action = [&] {
        const int value = VORNGetDatai(Find(n3));
        if (value < 3)
            Write(n3, value + 1);
    };
    Share(owner, n3, VORN_DATA_INT, &g);
    Share(reader, n3, VORN_DATA_INT, &h);
    gLog.clear();
    Write(n3, 1);
    EXPECT_EQ(VORNGetDatai(Find(n3)), 3);
    const std::string G = "g.changed" + o, H = "h.changed" + r;
    EXPECT_THAT(gLog, ElementsAre(G, G, G, H, H, H));
    EXPECT_EQ(VORNGetMyID(), 0);

    // i writes again; in that nested pass j unshares i, on whose entry the
    // outer pass still stands: the outer pass goes on from it.
    const std::string n4 = Name("4");
    bool wrote = false, unshared = false;
    Cell i{"i"}, j{"j"}, k{"k"};
    i.action = [&] {
        if (!std::exchange(wrote, true))
            Write(n4, 2);
    };
    j.action = [&] {
        if (!std::exchange(unshared, true)) {
            EXPECT_EQ(Unshare(owner, n4, VORN_DATA_INT, &i), 1);
        }
    };
    Share(owner, n4, VORN_DATA_INT, &i);
    Share(reader, n4, VORN_DATA_INT, &j);
    Share(other, n4, VORN_DATA_INT, &k);
    gLog.clear();
    Write(n4, 1);
    Write(n4, 3);
    const std::string I = "i.changed" + o, J = "j.changed" + r, K = "k.changed" + x;
    EXPECT_THAT(gLog, ElementsAre(I, I, J, K, J, K, J, K));
}

// Unload drops each plug-in's subscriptions (also after an unshare of one of
// them); the item and its value stay with the host.
TEST_F(DataRefApiTest, UnloadDropsThePluginsSubscriptionsAndKeepsTheValue)
{
    StartThree();
    const std::string name = Name("x");
    Cell a{"a"}, b{"b"}, c{"c"};
    Share(reader, name, VORN_DATA_INT, &a);
    Share(owner, name, VORN_DATA_INT, &b);
    Share(owner, name, VORN_DATA_INT, &a);
    Share(reader, name, VORN_DATA_INT, &a);
    Share(other, name, VORN_DATA_INT, &c);
    Share(owner, Name("y"), VORN_DATA_DOUBLE, &b);
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_INT, &a), 1);
    VORNDataRef ref = Find(name);
    As(owner, [&] { VORNSetDatai(ref, 77); });
    gAtUnload = [&] {
        return std::to_string(Held(owner).sharedData) + std::to_string(Held(reader).sharedData);
    };
    ShutDownObserved();
    EXPECT_THAT(gUnloads, ElementsAre("1: refs 0 shared 2 22", "2: refs 0 shared 2 02",
                                      "3: refs 0 shared 1 00"));
    gLog.clear();
    EXPECT_EQ(Find(name), ref);
    EXPECT_EQ(VORNGetDatai(ref), 77);
    VORNSetDatai(ref, 78);
    EXPECT_EQ(VORNGetDatai(ref), 78);
    EXPECT_THAT(gLog, IsEmpty()) << "the unloaded plug-ins are no subscribers any more";
}

}  // namespace
