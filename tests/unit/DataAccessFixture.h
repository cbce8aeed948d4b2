// DataAccessFixture.h - plug-ins as data-ref owners and readers: accessor
// callbacks that log who called them, and a registry of three plug-ins.
//
// Data refs live as long as the process (records are never freed), so every
// test publishes names of its own (Name()).
#ifndef VORN_TEST_DATA_ACCESS_FIXTURE_H
#define VORN_TEST_DATA_ACCESS_FIXTURE_H

#include "LibraryFixture.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNPlugin.h"
#include "VORNDataAccessInternal.h"

#include <string>
#include <utility>
#include <vector>

namespace vorntest {

// Accessor calls, "<tag>.<callback>@<dispatched id>" plus arguments for the
// array families, in order.
inline std::vector<std::string> gAccessLog;

// The value behind a data ref of the tests.
struct Cell {
    explicit Cell(std::string t, int iv = 7, float fv = 1.5f, double dv = 2.25)
        : tag(std::move(t)), i(iv), f(fv), d(dv)
    {
    }
    std::string tag;
    int i;
    float f;
    double d;
};

inline Cell& Of(void* refcon)
{
    return *static_cast<Cell*>(refcon);
}

inline void Note(void* refcon, const char* callback, const std::string& args = "")
{
    gAccessLog.push_back(Of(refcon).tag + "." + callback + "@" + std::to_string(VORNGetMyID()) +
                         (args.empty() ? "" : "(" + args + ")"));
}

// Each accessor logs its call, then serves or stores the cell's value.
inline int ReadInt(void* r) { return Note(r, "readInt"), Of(r).i; }
inline void WriteInt(void* r, int v) { Note(r, "writeInt", Fmt(v)), Of(r).i = v; }
inline float ReadFloat(void* r) { return Note(r, "readFloat"), Of(r).f; }
inline void WriteFloat(void* r, float v) { Note(r, "writeFloat", Fmt(v)), Of(r).f = v; }
inline double ReadDouble(void* r) { return Note(r, "readDouble"), Of(r).d; }
inline void WriteDouble(void* r, double v) { Note(r, "writeDouble", Fmt(v)), Of(r).d = v; }
// The array readers answer 3, 4 and 5 elements, to tell them apart.
inline int ReadIntArray(void* r, int* v, int o, int m)
{
    return Note(r, "readIntArray", FmtArgs(v, o, m)), 3;
}
inline void WriteIntArray(void* r, int* v, int o, int c)
{
    Note(r, "writeIntArray", FmtArgs(v, o, c));
}
inline int ReadFloatArray(void* r, float* v, int o, int m)
{
    return Note(r, "readFloatArray", FmtArgs(v, o, m)), 4;
}
inline void WriteFloatArray(void* r, float* v, int o, int c)
{
    Note(r, "writeFloatArray", FmtArgs(v, o, c));
}
inline int ReadData(void* r, void* v, int o, int m)
{
    return Note(r, "readData", FmtArgs(v, o, m)), 5;
}
inline void WriteData(void* r, void* v, int o, int c)
{
    Note(r, "writeData", FmtArgs(v, o, c));
}

class DataAccessTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        gAccessLog.clear();
        VORNRegisterHostPlugin();
        owner = AddPlugin("Owner", "test.owner");
        reader = AddPlugin("Reader", "test.reader");
        other = AddPlugin("Other", "test.other");
        for (int id : {owner, reader, other})
            Record(id).errorCallback = RecordError;
    }

    // A name no other test uses.
    static std::string Name(const std::string& suffix)
    {
        return std::string("test/") +
               ::testing::UnitTest::GetInstance()->current_test_info()->name() + "/" + suffix;
    }

    // Runs body as plug-in id would: with id dispatched.
    template <typename F>
    static auto As(int id, F body)
    {
        StDispatchCallback guard(id);
        return body();
    }

    // Publishes name with every callback, reads served from `read` and
    // writes going to `write` (the same cell unless given).
    static VORNDataRef RegisterAll(int id, const std::string& name, Cell& read, int writable = 1,
                                   int types = 63, Cell* write = nullptr)
    {
        return As(id, [&] {
            return VORNRegisterDataAccessor(
                name.c_str(), types, writable, ReadInt, WriteInt, ReadFloat, WriteFloat,
                ReadDouble, WriteDouble, ReadIntArray, WriteIntArray, ReadFloatArray,
                WriteFloatArray, ReadData, WriteData, &read, write ? write : &read);
        });
    }

    // Publishes name with only an int reader.
    static VORNDataRef RegisterIntReader(int id, const std::string& name, Cell& cell)
    {
        return As(id, [&] {
            return VORNRegisterDataAccessor(name.c_str(), VORN_DATA_INT, 1, ReadInt, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, &cell, &cell);
        });
    }

    int owner = -1;
    int reader = -1;
    int other = -1;
};

}  // namespace vorntest

#endif
