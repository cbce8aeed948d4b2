// Data refs and shared data through the real library, published and read by
// agent plug-ins (1 owner, 2 reader, 3 other) and by the host itself.
// Records outlive the library, so every test uses names of its own.

#include "AgentHost.h"
#include "VORN/VORNDataAccess.h"

#include <gmock/gmock.h>

#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Accessor and subscriber calls: "<tag>.<callback>@<dispatched id>(<args>)".
std::vector<std::string> gLog;

struct Cell {
    Cell(std::string t, int iv = 7) : tag(std::move(t)), i(iv) {}
    std::string tag;
    int i;
    float f = 1.5f;
    double d = 2.25;
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
                       " shared " + std::to_string(left->sharedData) + " " + gAtUnload());
}

class DataRefApiTest : public AgentHostTest {
protected:
    void SetUp() override
    {
        AgentHostTest::SetUp();
        gLog.clear();
        gUnloads.clear();
        StartAgents(3, true);
    }

    static std::string Name(const std::string& suffix)
    {
        return std::string("test/api/") +
               ::testing::UnitTest::GetInstance()->current_test_info()->name() + "/" + suffix;
    }

    // Publishes name as plug-in id (0: the host, outside any plug-in) with
    // every accessor, reads served from `read`, writes to `write` (or read).
    static VORNDataRef Publish(int id, const std::string& name, Cell& read, Cell* write = nullptr)
    {
        VORNDataRef ref = nullptr;
        auto publish = [&] {
            ref = VORNRegisterDataAccessor(name.c_str(), 63, 1, ReadInt, WriteInt, ReadFloat,
                                           WriteFloat, ReadDouble, WriteDouble, ReadInts,
                                           WriteInts, ReadFloats, WriteFloats, ReadBytes,
                                           WriteBytes, &read, write ? write : &read);
        };
        id == 0 ? publish() : As(id, publish);
        return ref;
    }

    static void Unpublish(int id, VORNDataRef ref) { As(id, [&] { VORNUnregisterDataAccessor(ref); }); }

    static int Share(int id, const std::string& name, int type, Cell* cell)
    {
        return AsReturning<int>(
            id, [&] { return VORNShareData(name.c_str(), type, cell ? Changed : nullptr, cell); });
    }

    static int Unshare(int id, const std::string& name, int type, Cell* cell)
    {
        return AsReturning<int>(id, [&] { return VORNUnshareData(name.c_str(), type, Changed, cell); });
    }

    static VORNDataRef Find(const std::string& name) { return VORNFindDataRef(name.c_str()); }

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

TEST_F(DataRefApiTest, ReadsAndWritesRunTheOwnersCallbacksInsideItsDispatch)
{
    Cell readCell{"r", 3}, writeCell{"w"};
    VORNDataRef ref = Publish(owner, Name("x"), readCell, &writeCell);
    int ints[2];
    float floats[2];
    char bytes[2];
    As(reader, [&] {
        EXPECT_EQ(Cat({VORNGetDatai(ref), int(VORNGetDataf(ref) * 2), int(VORNGetDatad(ref) * 4),
                       VORNGetDatavi(ref, ints, 1, 2), VORNGetDatavf(ref, nullptr, -4, 99),
                       VORNGetDatab(ref, bytes, 0, 2)}),
                  "339345");
        VORNSetDatai(ref, 11);
        VORNSetDataf(ref, 2.5f);
        VORNSetDatad(ref, -1.0);
        VORNSetDatavi(ref, ints, 7, -3);
        VORNSetDatavf(ref, floats, 0, 2);
        VORNSetDatab(ref, bytes, 0, 0);
        EXPECT_EQ(VORNGetMyID(), reader);
    });
    auto at = [&](const char* call, const std::string& args) { return call + o + "(" + args + ")"; };
    EXPECT_THAT(gLog, ElementsAre("r.readInt" + o, "r.readFloat" + o, "r.readDouble" + o,
                                  at("r.readInts", Args(ints, 1, 2)), at("r.readFloats", Args(nullptr, -4, 99)),
                                  at("r.readBytes", Args(bytes, 0, 2)), at("w.writeInt", "11"),
                                  at("w.writeFloat", std::to_string(2.5f)),
                                  at("w.writeDouble", std::to_string(-1.0)),
                                  at("w.writeInts", Args(ints, 7, -3)), at("w.writeFloats", Args(floats, 0, 2)),
                                  at("w.writeBytes", Args(bytes, 0, 0))));
}

// Unload orphans exactly the data refs the plug-in holds then, following
// withdrawals and revivals; the host's stay.
TEST_F(DataRefApiTest, UnloadWithdrawsOnlyWhatThePluginHoldsThen)
{
    Cell cell{"a"}, hostCell{"host", 12};
    const int hostHeld = Holdings(0).dataRefs;  // earlier tests in this process may have left some
    VORNDataRef hosts = Publish(0, Name("h"), hostCell);
    EXPECT_EQ(Cat({VORNGetDatai(hosts), Holdings(0).dataRefs - hostHeld}), "121");
    VORNDataRef first = Publish(owner, Name("1"), cell), middle = Publish(owner, Name("2"), cell);
    VORNDataRef last = Publish(owner, Name("3"), cell), theirs = Publish(other, Name("4"), cell);
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
    EXPECT_EQ(Find(Name("h")), hosts);
    VORNUnregisterDataAccessor(hosts);
    EXPECT_EQ(Find(Name("h")), nullptr);
}

// A shared item is a writable host data ref of its type; without a callback, no subscription.
TEST_F(DataRefApiTest, ASharedItemIsAWritableHostDataRefOfItsType)
{
    EXPECT_EQ(Share(owner, Name("d"), VORN_DATA_DOUBLE, nullptr), 1);
    VORNDataRef ref = Find(Name("d"));
    As(reader, [&] { VORNSetDatad(ref, 6.5); });
    EXPECT_EQ(Cat({VORNCanWriteDataRef(ref), VORNGetDataRefTypes(ref), Holdings(owner).sharedData}),
              "140");
    EXPECT_EQ(AsReturning<double>(other, [&] { return VORNGetDatad(ref); }), 6.5);
    // Arrays start with one element.
    for (int type : {VORN_DATA_INT_ARRAY, VORN_DATA_FLOAT_ARRAY, VORN_DATA_BYTES})
        Share(owner, Name(std::to_string(type)), type, nullptr);
    EXPECT_EQ(Cat({VORNGetDatavi(Find(Name("16")), nullptr, 0, 0),
                   VORNGetDatavf(Find(Name("8")), nullptr, 0, 0),
                   VORNGetDatab(Find(Name("32")), nullptr, 0, 0)}),
              "111");
    Cell a{"a"};
    EXPECT_EQ(Share(other, Name("d"), VORN_DATA_FLOAT, &a), 0) << "the item is a double";
    EXPECT_THAT(gLog, IsEmpty());
}

TEST_F(DataRefApiTest, SubscribersAreToldInOrderInTheirOwnDispatchPerEntry)
{
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

    // Unsharing matches name, type, refcon and the calling plug-in, one entry at a time.
    EXPECT_EQ(Cat({Unshare(owner, name, VORN_DATA_FLOAT, &a),
                   Unshare(owner, Name("unknown"), VORN_DATA_INT, &a),
                   Unshare(owner, name, VORN_DATA_INT, &b), Unshare(reader, name, VORN_DATA_INT, &a),
                   Unshare(owner, name, VORN_DATA_INT, &a)}),
              "00001");
}

// b unshares itself and the later c during the walk: c is skipped, d is not.
TEST_F(DataRefApiTest, SubscribersChangingTheListDuringNotification)
{
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
    VORNSetDatai(Find(n1), 1);
    VORNSetDatai(Find(n1), 2);
    EXPECT_THAT(gLog, ElementsAre("a.changed" + o, "b.changed" + r, "d.changed" + x,
                                  "a.changed" + o, "d.changed" + x));
}

// Unload drops each plug-in's subscriptions (also after an unshare of one of
// them); the item and its value stay with the host.
TEST_F(DataRefApiTest, UnloadDropsThePluginsSubscriptionsAndKeepsTheValue)
{
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
        return std::to_string(Holdings(owner).sharedData) + std::to_string(Holdings(reader).sharedData);
    };
    ShutDownObserved();
    EXPECT_THAT(gUnloads, ElementsAre("1: refs 0 shared 2 22", "2: refs 0 shared 2 02",
                                      "3: refs 0 shared 1 00"));
    gLog.clear();
    VORNSetDatai(ref, 78);
    EXPECT_EQ(VORNGetDatai(ref), 78);
    EXPECT_THAT(gLog, IsEmpty()) << "the unloaded plug-ins are no subscribers any more";
}

}  // namespace
