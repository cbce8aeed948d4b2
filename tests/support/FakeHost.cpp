// FakeHost.cpp - the recording host hook table.

#include "FakeHost.h"

#include <cassert>
#include <cstdio>
#include <cstring>

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
void* Out(char* buffer)
{
    return buffer;
}

void* Ptr(VORNHostObjectLoaded_f f)
{
    return reinterpret_cast<void*>(f);
}
void* Ptr(VORNHostObjectFound_f f)
{
    return reinterpret_cast<void*>(f);
}

// ---- slots -----------------------------------------------------------------

void GetScreenSize(int* w, int* h)
{
    Rec("GetScreenSize", w, h);
    if (w) *w = H().screenWidth;
    if (h) *h = H().screenHeight;
}
void GetMouseLocation(int* x, int* y, int flag)
{
    Rec("GetMouseLocation", x, y, flag);
    if (x) *x = H().mouseX;
    if (y) *y = H().mouseY;
}
void TakeKeyboardFocus(int has) { Rec("TakeKeyboardFocus", has); }
void SetGraphicsState(int a, int b, int c, int d, int e, int f, int g)
{
    Rec("SetGraphicsState", a, b, c, d, e, f, g);
}
void BindTexture2d(int a, int b) { Rec("BindTexture2d", a, b); }
void GenerateTextureNumbers(int* ids, int count) { Rec("GenerateTextureNumbers", ids, count); }
int GetTexture(int id)
{
    Rec("GetTexture", id);
    return H().intResult;
}
void WorldToLocal(double a, double b, double c, double* x, double* y, double* z)
{
    Rec("WorldToLocal", a, b, c, x, y, z);
}
void LocalToWorld(double a, double b, double c, double* x, double* y, double* z)
{
    Rec("LocalToWorld", a, b, c, x, y, z);
}
void DrawTranslucentDarkBox(int l, int t, int r, int b) { Rec("DrawTranslucentDarkBox", l, t, r, b); }
void DrawString(float* rgb, int x, int y, char* text, int* wrap, VORNFontID font)
{
    Rec("DrawString", rgb, x, y, text, wrap, font);
}
void DrawNumber(float* rgb, int x, int y, double v, int digits, int decimals, int sign,
                VORNFontID font)
{
    Rec("DrawNumber", rgb, x, y, v, digits, decimals, sign, font);
}
void GetFontDimensions(VORNFontID font, int* w, int* h, int* d) { Rec("GetFontDimensions", font, w, h, d); }
float MeasureString(VORNFontID font, const char* text, int n)
{
    Rec("MeasureString", font, text, n);
    return H().floatResult;
}
float GetElapsedTime()
{
    Rec("GetElapsedTime");
    return H().elapsedTime;
}
void ReadCameraPosition(float* a, float* b, float* c, float* d, float* e, float* f, float* g)
{
    Rec("ReadCameraPosition", a, b, c, d, e, f, g);
    float* out[7] = {a, b, c, d, e, f, g};
    for (int i = 0; i < 7; ++i)
        *out[i] = H().cameraPosition[i];
}
void DrawAircraft(int i, float x, float y, float z, float p, float r, float h, int full, void* s)
{
    Rec("DrawAircraft", i, x, y, z, p, r, h, full, s);
}
void SetAircraftModel(int i, const char* path, const char* file) { Rec("SetAircraftModel", i, path, file); }
void GetNthAircraftModel(int i, char* path, char* file)
{
    Rec("GetNthAircraftModel", i, Out(path), Out(file));
    std::snprintf(path, 256, "%s", H().aircraftPath.c_str());
    std::snprintf(file, 256, "%s", H().aircraftFileName.c_str());
}
int CountAircraft(int* total, int* active, int* owner)
{
    Rec("CountAircraft", total, active, owner);
    return H().aircraftTotal;
}
void PlaceUserAtAirport(const char* code) { Rec("PlaceUserAtAirport", code); }
void SimulateKeyPress(int type, int key) { Rec("SimulateKeyPress", type, key); }
void SpeakString(const char* text) { Rec("SpeakString", text); }
void CommandKeyStroke(int key) { Rec("CommandKeyStroke", key); }
void CommandButton(const int* buttons, int release, int repeat)
{
    std::string list = "{";
    for (const int* b = buttons; *b != 0; ++b)
        list += (list.size() > 1 ? "," : "") + std::to_string(*b);
    list += "}";
    H().Record("CommandButton", list + ", " + FmtArgs(release, repeat));
}
void GetSystemPath(char* out)
{
    Rec("GetSystemPath", Out(out));
    std::snprintf(out, 512, "%s", H().systemPath.c_str());
}
void GetPrefsPath(char* out)
{
    Rec("GetPrefsPath", Out(out));
    std::snprintf(out, 512, "%s", H().prefsPath.c_str());
}
void GetVersions(int* sim, int* host)
{
    Rec("GetVersions", sim, host);
    *sim = H().simVersion;
    *host = H().hostId;
}
int GetLanguage()
{
    Rec("GetLanguage");
    return H().language;
}
void DebugString(const char* text)
{
    H().debugWrites.emplace_back(text != nullptr ? text : "(null)");
}
void* FindSymbol(const char* name)
{
    Rec("FindSymbol", name);
    return H().foundSymbol;
}
void ReinitUsersPlane(int a, int b) { Rec("ReinitUsersPlane", a, b); }
void HostReceiveMessage(VORNPluginID from, int message, void* param)
{
    Rec("HostReceiveMessage", from, message, param);
    H().messages.push_back({from, message, param});
}
long CreateMenu(long parent, int position, const char* name)
{
    Rec("CreateMenu", parent, position, name);
    return H().nextHostMenu++;
}
int AppendMenuItem(long menu, const char* name, void* ref, int fourth)
{
    Rec("AppendMenuItem", menu, name, ref, fourth);
    return H().nextHostItem++;
}
void SetMenuItemName(long menu, int position, const char* name) { Rec("SetMenuItemName", menu, position, name); }
void DestroyMenu(long menu) { Rec("DestroyMenu", menu); }
void RemoveMenuItem(long menu, int position) { Rec("RemoveMenuItem", menu, position); }

VORNNavRef GetFirstNavAid()
{
    Rec("GetFirstNavAid");
    return H().intResult;
}
VORNNavRef GetNextNavAid(VORNNavRef ref)
{
    Rec("GetNextNavAid", ref);
    return H().intResult;
}
VORNNavRef FindFirstNavAidOfType(VORNNavType type)
{
    Rec("FindFirstNavAidOfType", type);
    return H().intResult;
}
VORNNavRef FindLastNavAidOfType(VORNNavType type)
{
    Rec("FindLastNavAidOfType", type);
    return H().intResult;
}
VORNNavRef FindNavAid(const char* name, const char* id, float* lat, float* lon, int* freq,
                      VORNNavType type)
{
    Rec("FindNavAid", name, id, lat, lon, freq, type);
    return H().intResult;
}
void GetNavAidInfo(VORNNavRef ref, VORNNavType* type, float* lat, float* lon, float* height,
                   int* freq, float* heading, char* id, char* name, char* reg)
{
    Rec("GetNavAidInfo", ref, type, lat, lon, height, freq, heading, Out(id), Out(name), Out(reg));
}
int CountFMSEntries()
{
    Rec("CountFMSEntries");
    return H().intResult;
}
int GetDisplayedFMSEntry()
{
    Rec("GetDisplayedFMSEntry");
    return H().intResult;
}
int GetDestinationFMSEntry()
{
    Rec("GetDestinationFMSEntry");
    return H().intResult;
}
void SetDisplayedFMSEntry(int i) { Rec("SetDisplayedFMSEntry", i); }
void SetDestinationFMSEntry(int i) { Rec("SetDestinationFMSEntry", i); }
void GetFMSEntryInfo(int i, VORNNavType* type, char* id, VORNNavRef* ref, int* alt, float* lat,
                     float* lon)
{
    Rec("GetFMSEntryInfo", i, type, Out(id), ref, alt, lat, lon);
}
void SetFMSEntryInfo(int i, VORNNavRef ref, int alt) { Rec("SetFMSEntryInfo", i, ref, alt); }
void SetFMSEntryLatLon(int i, float lat, float lon, int alt) { Rec("SetFMSEntryLatLon", i, lat, lon, alt); }
void ClearFMSEntry(int i) { Rec("ClearFMSEntry", i); }
VORNNavType GetGPSDestinationType()
{
    Rec("GetGPSDestinationType");
    return H().intResult;
}
VORNNavRef GetGPSDestination()
{
    Rec("GetGPSDestination");
    return H().intResult;
}
void ShowAlert(const char* a, const char* b, const char* c, const char* d) { Rec("ShowAlert", a, b, c, d); }
void ShowLoadingMessage(const char* text) { Rec("ShowLoadingMessage", text); }
void* FindCommand(const char* name, const char* description, int create)
{
    Rec("FindCommand", name, description, create);
    FakeHost& host = H();
    auto found = host.commands.find(name);
    if (found != host.commands.end())
        return found->second;
    return create ? host.CommandHandle(name) : nullptr;
}
void CommandBegin(void* cmd) { Rec("CommandBegin", cmd); }
void CommandContinue(void* cmd) { Rec("CommandContinue", cmd); }
void CommandEnd(void* cmd) { Rec("CommandEnd", cmd); }
int CreateProbe()
{
    Rec("CreateProbe");
    return H().nextProbeIndex++;
}
int ProbeTerrainXYZ(int index, const float* xyz, float* a, float* b, float* c, int* flag)
{
    H().Record("ProbeTerrainXYZ",
               FmtArgs(index, xyz[0], xyz[1], xyz[2], a, b, c, const_cast<const int*>(flag)));
    return H().probeHit;
}
void* LoadObject(const char* path)
{
    Rec("LoadObject", path);
    return H().loadedObject;
}
void DrawObjects(void* obj, int lighting, int earth, float x, float y, float z, float a2,
                 float a1, float a3)
{
    Rec("DrawObjects", obj, lighting, earth, x, y, z, a2, a1, a3);
}
void UnloadObject(void* obj) { Rec("UnloadObject", obj); }
int LookupObjects(const char* path, float lat, float lon, VORNHostObjectFound_f cb, void* ref)
{
    Rec("LookupObjects", path, lat, lon, Ptr(cb), ref);
    return H().lookupResult;
}
void LoadObjectAsync(const char* path, VORNHostObjectLoaded_f cb, void* ref)
{
    Rec("LoadObjectAsync", path, Ptr(cb), ref);
    H().asyncLoads.push_back({path ? path : "", cb, ref});
}
void ReloadScenery() { Rec("ReloadScenery"); }
int LoadDataFile(int type, const char* path)
{
    Rec("LoadDataFile", type, path);
    return H().dataFileResult;
}
int SaveDataFile(int type, const char* path)
{
    Rec("SaveDataFile", type, path);
    return H().dataFileResult;
}

std::string Hex(const void* p)
{
    if (p == nullptr)
        return "null";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%p", p);
    return buf;
}

}  // namespace

std::string Fmt(const char* text) { return text ? "\"" + std::string(text) + "\"" : "null"; }
std::string Fmt(char* text) { return Fmt(static_cast<const char*>(text)); }
std::string Fmt(const void* pointer) { return Hex(pointer); }
std::string Fmt(void* pointer) { return Hex(pointer); }
std::string Fmt(const int* pointer) { return Hex(pointer); }
std::string Fmt(int* pointer) { return Hex(pointer); }
std::string Fmt(float* pointer) { return Hex(pointer); }
std::string Fmt(double* pointer) { return Hex(pointer); }
std::string Fmt(int value) { return std::to_string(value); }
std::string Fmt(long value) { return std::to_string(value); }
std::string Fmt(unsigned value) { return std::to_string(value); }
std::string Fmt(float value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}
std::string Fmt(double value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

FakeHost::FakeHost()
{
    assert(gCurrent == nullptr && "only one FakeHost at a time");
    gCurrent = this;
    VORNHostHooks& t = table;
    t.version = 4;
    t.tableSize = VORN_HOST_HOOKS_SIZE;
    t.GetScreenSize = GetScreenSize;
    t.GetMouseLocation = GetMouseLocation;
    t.TakeKeyboardFocus = TakeKeyboardFocus;
    t.SetGraphicsState = SetGraphicsState;
    t.BindTexture2d = BindTexture2d;
    t.GenerateTextureNumbers = GenerateTextureNumbers;
    t.GetTexture = GetTexture;
    t.WorldToLocal = WorldToLocal;
    t.LocalToWorld = LocalToWorld;
    t.DrawTranslucentDarkBox = DrawTranslucentDarkBox;
    t.DrawString = DrawString;
    t.DrawNumber = DrawNumber;
    t.GetFontDimensions = GetFontDimensions;
    t.MeasureString = MeasureString;
    t.GetElapsedTime = GetElapsedTime;
    t.ReadCameraPosition = ReadCameraPosition;
    t.DrawAircraft = DrawAircraft;
    t.SetAircraftModel = SetAircraftModel;
    t.GetNthAircraftModel = GetNthAircraftModel;
    t.CountAircraft = CountAircraft;
    t.PlaceUserAtAirport = PlaceUserAtAirport;
    t.SimulateKeyPress = SimulateKeyPress;
    t.SpeakString = SpeakString;
    t.CommandKeyStroke = CommandKeyStroke;
    t.CommandButton = CommandButton;
    t.GetSystemPath = GetSystemPath;
    t.GetPrefsPath = GetPrefsPath;
    t.GetVersions = GetVersions;
    t.GetLanguage = GetLanguage;
    t.DebugString = DebugString;
    t.FindSymbol = FindSymbol;
    t.ReinitUsersPlane = ReinitUsersPlane;
    t.HostReceiveMessage = HostReceiveMessage;
    t.CreateMenu = CreateMenu;
    t.AppendMenuItem = AppendMenuItem;
    t.SetMenuItemName = SetMenuItemName;
    t.DestroyMenu = DestroyMenu;
    t.RemoveMenuItem = RemoveMenuItem;
    t.GetFirstNavAid = GetFirstNavAid;
    t.GetNextNavAid = GetNextNavAid;
    t.FindFirstNavAidOfType = FindFirstNavAidOfType;
    t.FindLastNavAidOfType = FindLastNavAidOfType;
    t.FindNavAid = FindNavAid;
    t.GetNavAidInfo = GetNavAidInfo;
    t.CountFMSEntries = CountFMSEntries;
    t.GetDisplayedFMSEntry = GetDisplayedFMSEntry;
    t.GetDestinationFMSEntry = GetDestinationFMSEntry;
    t.SetDisplayedFMSEntry = SetDisplayedFMSEntry;
    t.SetDestinationFMSEntry = SetDestinationFMSEntry;
    t.GetFMSEntryInfo = GetFMSEntryInfo;
    t.SetFMSEntryInfo = SetFMSEntryInfo;
    t.SetFMSEntryLatLon = SetFMSEntryLatLon;
    t.ClearFMSEntry = ClearFMSEntry;
    t.GetGPSDestinationType = GetGPSDestinationType;
    t.GetGPSDestination = GetGPSDestination;
    t.ShowAlert = ShowAlert;
    t.ShowLoadingMessage = ShowLoadingMessage;
    t.FindCommand = FindCommand;
    t.CommandBegin = CommandBegin;
    t.CommandContinue = CommandContinue;
    t.CommandEnd = CommandEnd;
    t.CreateProbe = CreateProbe;
    t.ProbeTerrainXYZ = ProbeTerrainXYZ;
    t.LoadObject = LoadObject;
    t.DrawObjects = DrawObjects;
    t.UnloadObject = UnloadObject;
    t.LookupObjects = LookupObjects;
    t.LoadObjectAsync = LoadObjectAsync;
    t.ReloadScenery = ReloadScenery;
    t.LoadDataFile = LoadDataFile;
    t.SaveDataFile = SaveDataFile;
}

FakeHost::~FakeHost()
{
    gCurrent = nullptr;
}

FakeHost& FakeHost::Current()
{
    return H();
}

void FakeHost::Record(const std::string& name, const std::string& args)
{
    calls.push_back({name, args});
}

std::string FakeHost::Log() const
{
    std::string all;
    for (const std::string& write : debugWrites)
        all += write;
    return all;
}

std::vector<std::string> FakeHost::CallNames() const
{
    std::vector<std::string> names;
    for (const HostCall& call : calls)
        names.push_back(call.name);
    return names;
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

size_t FakeHost::CountCalls(const std::string& name) const
{
    return CallsNamed(name).size();
}

void FakeHost::ClearRecord()
{
    calls.clear();
    debugWrites.clear();
    messages.clear();
}

void* FakeHost::CommandHandle(const std::string& name)
{
    auto found = commands.find(name);
    if (found != commands.end())
        return found->second;
    mCommandNames.push_back(std::make_unique<std::string>(name));
    void* handle = mCommandNames.back().get();
    commands[name] = handle;
    return handle;
}

}  // namespace vorntest
