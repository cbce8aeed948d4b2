// FakeHost.cpp - the recording host hook table.

#include "FakeHost.h"

#include <cassert>
#include <cstdio>

namespace vorntest {

namespace {

FakeHost* gCurrent = nullptr;

FakeHost& H()
{
    assert(gCurrent != nullptr && "no FakeHost installed");
    return *gCurrent;
}

template <typename... Args>
void Rec(const char* name, Args... args)
{
    H().Record(name, FmtArgs(args...));
}

// Output buffers are recorded by address: their contents are not text yet.
void* Out(char* buffer) { return buffer; }
void Copy(char* out, size_t size, const std::string& text) { std::snprintf(out, size, "%s", text.c_str()); }

}  // namespace

std::string Hex(const void* pointer)
{
    if (pointer == nullptr)
        return "null";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%p", pointer);
    return buf;
}

std::string Fmt(const char* text) { return text ? "\"" + std::string(text) + "\"" : "null"; }

// A slot that only records its call, or records it and answers with a result.
#define PLAIN(slot) t.slot = [](auto... a) { Rec(#slot, a...); }
#define ANSWER(slot, result) t.slot = [](auto... a) { Rec(#slot, a...); return result; }

FakeHost::FakeHost()
{
    assert(gCurrent == nullptr && "only one FakeHost at a time");
    gCurrent = this;
    VORNHostHooks& t = table;
    t.version = 4;
    t.tableSize = VORN_HOST_HOOKS_SIZE;
    t.GetScreenSize = [](int* w, int* h) {
        Rec("GetScreenSize", w, h);
        if (w) *w = H().screenWidth;
        if (h) *h = H().screenHeight;
    };
    t.GetMouseLocation = [](int* x, int* y, int flag) {
        Rec("GetMouseLocation", x, y, flag);
        if (x) *x = H().mouseX;
        if (y) *y = H().mouseY;
    };
    PLAIN(TakeKeyboardFocus);
    PLAIN(SetGraphicsState);
    PLAIN(BindTexture2d);
    PLAIN(GenerateTextureNumbers);
    ANSWER(GetTexture, H().intResult);
    PLAIN(WorldToLocal);
    PLAIN(LocalToWorld);
    PLAIN(DrawTranslucentDarkBox);
    PLAIN(DrawString);
    PLAIN(DrawNumber);
    PLAIN(GetFontDimensions);
    ANSWER(MeasureString, H().floatResult);
    ANSWER(GetElapsedTime, H().elapsedTime);
    t.ReadCameraPosition = [](float* a, float* b, float* c, float* d, float* e, float* f,
                              float* g) {
        Rec("ReadCameraPosition", a, b, c, d, e, f, g);
        float* out[7] = {a, b, c, d, e, f, g};
        for (int i = 0; i < 7; ++i)
            *out[i] = H().cameraPosition[i];
    };
    PLAIN(DrawAircraft);
    PLAIN(SetAircraftModel);
    t.GetNthAircraftModel = [](int i, char* path, char* file) {
        Rec("GetNthAircraftModel", i, Out(path), Out(file));
        Copy(path, 256, H().aircraftPath);
        Copy(file, 256, H().aircraftFileName);
    };
    ANSWER(CountAircraft, H().aircraftTotal);
    PLAIN(PlaceUserAtAirport);
    PLAIN(SimulateKeyPress);
    PLAIN(SpeakString);
    PLAIN(CommandKeyStroke);
    t.CommandButton = [](const int* buttons, int release, int repeat) {
        std::string list = "{";
        for (const int* b = buttons; *b != 0; ++b)
            list += (list.size() > 1 ? "," : "") + std::to_string(*b);
        H().Record("CommandButton", list + "}, " + FmtArgs(release, repeat));
    };
    t.GetSystemPath = [](char* out) {
        Rec("GetSystemPath", Out(out));
        Copy(out, 512, H().systemPath);
    };
    t.GetPrefsPath = [](char* out) {
        Rec("GetPrefsPath", Out(out));
        Copy(out, 512, H().prefsPath);
    };
    t.GetVersions = [](int* sim, int* host) {
        Rec("GetVersions", sim, host);
        *sim = H().simVersion;
        *host = H().hostId;
    };
    ANSWER(GetLanguage, H().language);
    t.DebugString = [](const char* text) {
        H().debugWrites.emplace_back(text != nullptr ? text : "(null)");
    };
    ANSWER(FindSymbol, H().foundSymbol);
    PLAIN(ReinitUsersPlane);
    PLAIN(HostReceiveMessage);
    ANSWER(CreateMenu, H().nextHostMenu++);
    ANSWER(AppendMenuItem, H().nextHostItem++);
    PLAIN(SetMenuItemName);
    PLAIN(DestroyMenu);
    PLAIN(RemoveMenuItem);
    ANSWER(GetFirstNavAid, H().intResult);
    ANSWER(GetNextNavAid, H().intResult);
    ANSWER(FindFirstNavAidOfType, H().intResult);
    ANSWER(FindLastNavAidOfType, H().intResult);
    ANSWER(FindNavAid, H().intResult);
    t.GetNavAidInfo = [](VORNNavRef ref, VORNNavType* type, float* lat, float* lon,
                         float* height, int* freq, float* heading, char* id, char* name,
                         char* reg) {
        Rec("GetNavAidInfo", ref, type, lat, lon, height, freq, heading, Out(id), Out(name),
            Out(reg));
    };
    ANSWER(CountFMSEntries, H().intResult);
    ANSWER(GetDisplayedFMSEntry, H().intResult);
    ANSWER(GetDestinationFMSEntry, H().intResult);
    PLAIN(SetDisplayedFMSEntry);
    PLAIN(SetDestinationFMSEntry);
    t.GetFMSEntryInfo = [](int i, VORNNavType* type, char* id, VORNNavRef* ref, int* alt,
                           float* lat, float* lon) {
        Rec("GetFMSEntryInfo", i, type, Out(id), ref, alt, lat, lon);
    };
    PLAIN(SetFMSEntryInfo);
    PLAIN(SetFMSEntryLatLon);
    PLAIN(ClearFMSEntry);
    ANSWER(GetGPSDestinationType, H().intResult);
    ANSWER(GetGPSDestination, H().intResult);
    PLAIN(ShowAlert);
    PLAIN(ShowLoadingMessage);
    t.FindCommand = [](const char* name, const char* description, int create) -> void* {
        Rec("FindCommand", name, description, create);
        auto found = H().commands.find(name);
        if (found != H().commands.end())
            return found->second;
        return create ? H().CommandHandle(name) : nullptr;
    };
    PLAIN(CommandBegin);
    PLAIN(CommandContinue);
    PLAIN(CommandEnd);
    ANSWER(CreateProbe, H().nextProbeIndex++);
    t.ProbeTerrainXYZ = [](int index, const float* xyz, float* a, float* b, float* c, int* flag) {
        Rec("ProbeTerrainXYZ", index, xyz[0], xyz[1], xyz[2], a, b, c, flag);
        return H().probeHit;
    };
    ANSWER(LoadObject, H().loadedObject);
    PLAIN(DrawObjects);
    PLAIN(UnloadObject);
    ANSWER(LookupObjects, H().lookupResult);
    t.LoadObjectAsync = [](const char* path, VORNHostObjectLoaded_f cb, void* ref) {
        Rec("LoadObjectAsync", path, cb, ref);
        H().asyncLoads.push_back({path ? path : "", cb, ref});
    };
    PLAIN(ReloadScenery);
    ANSWER(LoadDataFile, H().dataFileResult);
    ANSWER(SaveDataFile, H().dataFileResult);
}

FakeHost::~FakeHost()
{
    gCurrent = nullptr;
}

FakeHost& FakeHost::Current()
{
    return H();
}

std::vector<std::string> FakeHost::CallTexts(size_t first) const
{
    std::vector<std::string> texts;
    for (size_t i = first; i < calls.size(); ++i)
        texts.push_back(calls[i].Text());
    return texts;
}

std::vector<std::string> FakeHost::CallsNamed(const std::string& name) const
{
    std::vector<std::string> texts;
    for (const HostCall& call : calls) {
        if (call.name == name)
            texts.push_back(call.Text());
    }
    return texts;
}

void* FakeHost::CommandHandle(const std::string& name)
{
    void*& handle = commands[name];
    if (handle == nullptr) {
        mCommandNames.push_back(std::make_unique<std::string>(name));
        handle = mCommandNames.back().get();
    }
    return handle;
}

}  // namespace vorntest
