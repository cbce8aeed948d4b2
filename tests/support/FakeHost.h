// FakeHost.h - a simulator stand-in for tests: a fully filled host hook table whose slots record
// every call (name and arguments, in order) and answer with results that each test can set.
#ifndef VORN_TEST_FAKE_HOST_H
#define VORN_TEST_FAKE_HOST_H

#include "VORN/VORNHostHooks.h"

#include <cstdint>
#include <map>
#include <memory>
#include <numeric>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace vorntest {

struct HostCall {
    std::string name;
    std::string args;  // arguments formatted with Fmt, joined by ", "
    std::string Text() const { return name + "(" + args + ")"; }
};

// Formats one argument the way the recorder does, so tests can build the
// expected text: strings quoted ("null" for a null char*), pointers in hex.
std::string Hex(const void* pointer);
std::string Fmt(const char* text);
inline std::string Fmt(char* text) { return Fmt(static_cast<const char*>(text)); }
template <typename T>
std::string Fmt(T* pointer)
{
    return Hex(reinterpret_cast<const void*>(pointer));
}
template <typename T, typename = std::enable_if_t<std::is_arithmetic_v<T>>>
std::string Fmt(T value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

template <typename... Args>
std::string FmtArgs(Args... args)
{
    std::string out;
    ((out += (out.empty() ? "" : ", ") + Fmt(args)), ...);
    return out;
}

class FakeHost {
public:
    // Installs itself as the current fake host; one at a time.
    FakeHost();
    ~FakeHost();
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;

    static FakeHost& Current();

    VORNHostHooks table{};

    // ---- what happened ----
    std::vector<HostCall> calls;         // every slot call, in order
    std::vector<std::string> debugWrites;  // each DebugString write separately
    std::string Log() const  // the writes concatenated
    {
        return std::accumulate(debugWrites.begin(), debugWrites.end(), std::string());
    }
    std::vector<std::string> CallTexts(size_t first = 0) const;  // Text() of each from first
    std::vector<std::string> CallsNamed(const std::string& name) const;  // Text() of each
    size_t CountCalls(const std::string& name) const { return CallsNamed(name).size(); }
    void ClearRecord() { calls.clear(); debugWrites.clear(); }

    // ---- results the slots give ----
    float elapsedTime = 0.0f;
    std::string systemPath = "/sim/";
    std::string prefsPath = "/sim/Output/preferences/Taravel.prf";
    int simVersion = 1100;
    int hostId = 1;
    int language = 0;
    int mouseX = 0, mouseY = 0;
    int screenWidth = 1024, screenHeight = 768;
    std::string aircraftPath = "/sim/Aircraft/Cessna/Cessna.acf";
    std::string aircraftFileName = "Cessna.acf";
    int aircraftTotal = 1;
    void* foundSymbol = nullptr;
    int dataFileResult = 1;
    int probeHit = 1;
    void* loadedObject = nullptr;
    int lookupResult = 0;
    int intResult = 0;        // GetTexture, navigation and FMS queries
    float floatResult = 0.0f;  // MeasureString

    // Commands: FindCommand returns one stable handle per name; with
    // create 0 an unknown name gives null.
    std::map<std::string, void*> commands;
    void* CommandHandle(const std::string& name);

    // Menus: CreateMenu returns 1000, 1001, ...; AppendMenuItem 1, 2, ...
    long nextHostMenu = 1000;
    int nextHostItem = 1;
    // Camera: ReadCameraPosition writes these seven values.
    float cameraPosition[7] = {1, 2, 3, 4, 5, 6, 7};
    // Probes: CreateProbe returns 0, 1, 2, ...
    int nextProbeIndex = 0;

    // Asynchronous object loads waiting for the test to complete them.
    struct AsyncLoad {
        std::string path;
        VORNHostObjectLoaded_f callback;
        void* refcon;
    };
    std::vector<AsyncLoad> asyncLoads;

    void Record(const std::string& name, const std::string& args) { calls.push_back({name, args}); }

private:
    std::vector<std::unique_ptr<std::string>> mCommandNames;
};

}  // namespace vorntest

#endif
