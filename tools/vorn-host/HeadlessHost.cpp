#include "HeadlessHost.h"

#include <cstdio>
#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <sstream>

namespace vornhost {

namespace {

HeadlessHost* gHost = nullptr;

// Writes value through each out-pointer that is not null.
template <typename T>
void Store(std::initializer_list<std::pair<T*, T>> outputs)
{
    for (const auto& [pointer, value] : outputs)
        if (pointer != nullptr)
            *pointer = value;
}

void CopyOut(char* out, size_t size, const std::string& text)
{
    std::snprintf(out, size, "%s", text.c_str());
}

}  // namespace

// The slots: every one notes the call, so that the checker can tell plug-in
// code that runs while it should not.
struct Slots {
    static HeadlessHost& H(const char* service)
    {
        gHost->NoteCall(service);
        return *gHost;
    }
    static void GetScreenSize(int* w, int* h)
    {
        HeadlessHost& host = H("GetScreenSize");
        Store<int>({{w, host.screenWidth}, {h, host.screenHeight}});
    }
    static void GetMouseLocation(int* x, int* y, int)
    {
        HeadlessHost& host = H("GetMouseLocation");
        Store<int>({{x, host.mouseX}, {y, host.mouseY}});
    }
    static void TakeKeyboardFocus(int) { H("TakeKeyboardFocus"); }
    static void SetGraphicsState(int, int, int, int, int, int, int) { H("SetGraphicsState"); }
    static void BindTexture2d(int, int) { H("BindTexture2d"); }
    static void GenerateTextureNumbers(int* ids, int count)
    {
        H("GenerateTextureNumbers");
        for (int i = 0; ids != nullptr && i < count; ++i)
            ids[i] = i + 1;
    }
    static int GetTexture(int id) { H("GetTexture"); return id; }
    static void WorldToLocal(double a, double b, double c, double* x, double* y, double* z)
    {
        H("WorldToLocal");
        Store<double>({{x, a}, {y, b}, {z, c}});
    }
    static void LocalToWorld(double a, double b, double c, double* x, double* y, double* z)
    {
        H("LocalToWorld");
        Store<double>({{x, a}, {y, b}, {z, c}});
    }
    static void DrawTranslucentDarkBox(int, int, int, int) { H("DrawTranslucentDarkBox"); }
    static void DrawString(float*, int, int, char*, int*, VORNFontID) { H("DrawString"); }
    static void DrawNumber(float*, int, int, double, int, int, int, VORNFontID) { H("DrawNumber"); }
    static void GetFontDimensions(VORNFontID, int* w, int* h, int* d)
    {
        H("GetFontDimensions");
        Store<int>({{w, 8}, {h, 14}, {d, 0}});
    }
    static float MeasureString(VORNFontID, const char* text, int n)
    {
        H("MeasureString");
        return text ? 8.0f * static_cast<float>(std::min<size_t>(std::strlen(text), n < 0 ? 0 : n)) : 0.0f;
    }
    static float GetElapsedTime() { return gHost->time; }
    static void ReadCameraPosition(float* a, float* b, float* c, float* d, float* e, float* f, float* g)
    {
        H("ReadCameraPosition");
        for (float* p : {a, b, c, d, e, f, g})
            if (p) *p = 0.0f;
    }
    static void DrawAircraft(int, float, float, float, float, float, float, int, void*) { H("DrawAircraft"); }
    static void SetAircraftModel(int, const char*, const char*) { H("SetAircraftModel"); }
    static void GetNthAircraftModel(int, char* path, char* file)
    {
        HeadlessHost& host = H("GetNthAircraftModel");
        CopyOut(path, 256, host.aircraftPath);
        const size_t slash = host.aircraftPath.rfind('/');
        CopyOut(file, 256, slash == std::string::npos ? host.aircraftPath : host.aircraftPath.substr(slash + 1));
    }
    static int CountAircraft(int*, int*, int*) { H("CountAircraft"); return 1; }
    static void PlaceUserAtAirport(const char*) { H("PlaceUserAtAirport"); }
    static void SimulateKeyPress(int, int) { H("SimulateKeyPress"); }
    static void SpeakString(const char* text)
    {
        HeadlessHost& host = H("SpeakString");
        host.log << "[speech] " << (text ? text : "") << "\n";
    }
    static void CommandKeyStroke(int) { H("CommandKeyStroke"); }
    static void CommandButton(const int*, int, int) { H("CommandButton"); }
    static void GetSystemPath(char* out) { CopyOut(out, 512, H("GetSystemPath").systemPath); }
    static void GetPrefsPath(char* out)
    {
        CopyOut(out, 512, H("GetPrefsPath").systemPath + "Output/preferences/Taravel.prf");
    }
    static void GetVersions(int* sim, int* host)
    {
        H("GetVersions");
        *sim = 1100;
        *host = 1;
    }
    static int GetLanguage() { H("GetLanguage"); return 0; }
    static void DebugString(const char* text)
    {
        HeadlessHost& host = H("DebugString");
        if (host.echoLog && text != nullptr)
            host.log << text;
    }
    static void* FindSymbol(const char*) { H("FindSymbol"); return nullptr; }
    static void ReinitUsersPlane(int, int) { H("ReinitUsersPlane"); }
    static void HostReceiveMessage(int, int, void*) {}
    static long CreateMenu(long parent, int position, const char* name)
    {
        HeadlessHost& host = H("CreateMenu");
        host.menus.push_back({host.mNextMenu, name ? name : "", parent, position, {}});
        return host.mNextMenu++;
    }
    static HeadlessHost::Menu* FindMenu(long id)
    {
        for (HeadlessHost::Menu& menu : gHost->menus)
            if (menu.id == id)
                return &menu;
        return nullptr;
    }
    static int AppendMenuItem(long menuId, const char* name, void*, int)
    {
        HeadlessHost& host = H("AppendMenuItem");
        const int item = host.mNextItem++;
        if (HeadlessHost::Menu* menu = FindMenu(menuId))
            menu->items.emplace_back(item, name ? name : "");
        return item;
    }
    static void SetMenuItemName(long menuId, int position, const char* name)
    {
        H("SetMenuItemName");
        HeadlessHost::Menu* menu = FindMenu(menuId);
        if (menu && position >= 0 && position < static_cast<int>(menu->items.size()))
            menu->items[position].second = name ? name : "";
    }
    static void DestroyMenu(long menuId)
    {
        H("DestroyMenu");
        auto& menus = gHost->menus;
        for (auto it = menus.begin(); it != menus.end(); ++it)
            if (it->id == menuId) {
                menus.erase(it);
                return;
            }
    }
    static void RemoveMenuItem(long menuId, int position)
    {
        H("RemoveMenuItem");
        HeadlessHost::Menu* menu = FindMenu(menuId);
        if (menu && position >= 0 && position < static_cast<int>(menu->items.size()))
            menu->items.erase(menu->items.begin() + position);
    }
    static VORNNavRef NavNotFound() { H("Navigation"); return VORN_NAV_NOT_FOUND; }
    static VORNNavRef GetFirstNavAid() { return NavNotFound(); }
    static VORNNavRef GetNextNavAid(VORNNavRef) { return NavNotFound(); }
    static VORNNavRef FindNavAidOfType(VORNNavType) { return NavNotFound(); }
    static VORNNavRef FindNavAid(const char*, const char*, float*, float*, int*, VORNNavType) { return NavNotFound(); }
    static void GetNavAidInfo(VORNNavRef, VORNNavType*, float*, float*, float*, int*, float*, char*, char*, char*) { H("Navigation"); }
    static int FmsZero() { H("Navigation"); return 0; }
    static void FmsIndex(int) { H("Navigation"); }
    static void GetFMSEntryInfo(int, VORNNavType*, char*, VORNNavRef*, int*, float*, float*) { H("Navigation"); }
    static void SetFMSEntryInfo(int, VORNNavRef, int) { H("Navigation"); }
    static void SetFMSEntryLatLon(int, float, float, int) { H("Navigation"); }
    static VORNNavType GetGPSDestinationType() { H("Navigation"); return VORN_NAV_UNKNOWN; }
    static void ShowAlert(const char* a, const char* b, const char*, const char*)
    {
        H("ShowAlert").log << "[alert] " << (a ? a : "") << " " << (b ? b : "") << "\n";
    }
    static void ShowLoadingMessage(const char*) { H("ShowLoadingMessage"); }
    static void* FindCommand(const char* name, const char*, int create)
    {
        return H("FindCommand").Command(name ? name : "", create != 0);
    }
    static void RunCommandPhase(void* command, int isStart, int isEnd)
    {
        HostLibrary& lib = gHost->library;
        if (lib.CommandHook == nullptr)
            return;
        if (lib.CommandHook(command, isStart, isEnd, 1) != 0)
            lib.CommandHook(command, isStart, isEnd, 0);
    }
    static void CommandBegin(void* c) { H("CommandBegin"); RunCommandPhase(c, 1, 0); }
    static void CommandContinue(void* c) { H("CommandContinue"); RunCommandPhase(c, 0, 0); }
    static void CommandEnd(void* c) { H("CommandEnd"); RunCommandPhase(c, 0, 1); }
    static int CreateProbe() { return H("CreateProbe").mNextProbe++; }
    static int ProbeTerrainXYZ(int, const float*, float* a, float* b, float* c, int* flag)
    {
        H("ProbeTerrainXYZ");
        for (float* triple : {a, b, c})
            if (triple) triple[0] = triple[1] = triple[2] = 0.0f;
        if (flag) *flag = 0;
        return 1;
    }
    static void* LoadObject(const char*) { H("LoadObject"); return nullptr; }
    static void DrawObjects(void*, int, int, float, float, float, float, float, float) { H("DrawObjects"); }
    static void UnloadObject(void*) { H("UnloadObject"); }
    static int LookupObjects(const char*, float, float, VORNHostObjectFound_f, void*) { H("LookupObjects"); return 0; }
    static void LoadObjectAsync(const char*, VORNHostObjectLoaded_f callback, void* refcon)
    {
        H("LoadObjectAsync");
        if (callback) callback(nullptr, refcon);  // no scenery here: nothing found
    }
    static void ReloadScenery() { H("ReloadScenery"); }
    static int DataFile(int, const char*) { H("DataFile"); return 0; }
};

HeadlessHost::HeadlessHost(HostLibrary& lib, std::ostream& out) : library(lib), log(out)
{
    gHost = this;
    VORNHostHooks& t = table;
    t.version = 4;
    t.tableSize = VORN_HOST_HOOKS_SIZE;
    t.GetScreenSize = Slots::GetScreenSize;
    t.GetMouseLocation = Slots::GetMouseLocation;
    t.TakeKeyboardFocus = Slots::TakeKeyboardFocus;
    t.SetGraphicsState = Slots::SetGraphicsState;
    t.BindTexture2d = Slots::BindTexture2d;
    t.GenerateTextureNumbers = Slots::GenerateTextureNumbers;
    t.GetTexture = Slots::GetTexture;
    t.WorldToLocal = Slots::WorldToLocal;
    t.LocalToWorld = Slots::LocalToWorld;
    t.DrawTranslucentDarkBox = Slots::DrawTranslucentDarkBox;
    t.DrawString = Slots::DrawString;
    t.DrawNumber = Slots::DrawNumber;
    t.GetFontDimensions = Slots::GetFontDimensions;
    t.MeasureString = Slots::MeasureString;
    t.GetElapsedTime = Slots::GetElapsedTime;
    t.ReadCameraPosition = Slots::ReadCameraPosition;
    t.DrawAircraft = Slots::DrawAircraft;
    t.SetAircraftModel = Slots::SetAircraftModel;
    t.GetNthAircraftModel = Slots::GetNthAircraftModel;
    t.CountAircraft = Slots::CountAircraft;
    t.PlaceUserAtAirport = Slots::PlaceUserAtAirport;
    t.SimulateKeyPress = Slots::SimulateKeyPress;
    t.SpeakString = Slots::SpeakString;
    t.CommandKeyStroke = Slots::CommandKeyStroke;
    t.CommandButton = Slots::CommandButton;
    t.GetSystemPath = Slots::GetSystemPath;
    t.GetPrefsPath = Slots::GetPrefsPath;
    t.GetVersions = Slots::GetVersions;
    t.GetLanguage = Slots::GetLanguage;
    t.DebugString = Slots::DebugString;
    t.FindSymbol = Slots::FindSymbol;
    t.ReinitUsersPlane = Slots::ReinitUsersPlane;
    t.HostReceiveMessage = Slots::HostReceiveMessage;
    t.CreateMenu = Slots::CreateMenu;
    t.AppendMenuItem = Slots::AppendMenuItem;
    t.SetMenuItemName = Slots::SetMenuItemName;
    t.DestroyMenu = Slots::DestroyMenu;
    t.RemoveMenuItem = Slots::RemoveMenuItem;
    t.GetFirstNavAid = Slots::GetFirstNavAid;
    t.GetNextNavAid = Slots::GetNextNavAid;
    t.FindFirstNavAidOfType = Slots::FindNavAidOfType;
    t.FindLastNavAidOfType = Slots::FindNavAidOfType;
    t.FindNavAid = Slots::FindNavAid;
    t.GetNavAidInfo = Slots::GetNavAidInfo;
    t.CountFMSEntries = Slots::FmsZero;
    t.GetDisplayedFMSEntry = Slots::FmsZero;
    t.GetDestinationFMSEntry = Slots::FmsZero;
    t.SetDisplayedFMSEntry = Slots::FmsIndex;
    t.SetDestinationFMSEntry = Slots::FmsIndex;
    t.GetFMSEntryInfo = Slots::GetFMSEntryInfo;
    t.SetFMSEntryInfo = Slots::SetFMSEntryInfo;
    t.SetFMSEntryLatLon = Slots::SetFMSEntryLatLon;
    t.ClearFMSEntry = Slots::FmsIndex;
    t.GetGPSDestinationType = Slots::GetGPSDestinationType;
    t.GetGPSDestination = Slots::GetFirstNavAid;
    t.ShowAlert = Slots::ShowAlert;
    t.ShowLoadingMessage = Slots::ShowLoadingMessage;
    t.FindCommand = Slots::FindCommand;
    t.CommandBegin = Slots::CommandBegin;
    t.CommandContinue = Slots::CommandContinue;
    t.CommandEnd = Slots::CommandEnd;
    t.CreateProbe = Slots::CreateProbe;
    t.ProbeTerrainXYZ = Slots::ProbeTerrainXYZ;
    t.LoadObject = Slots::LoadObject;
    t.DrawObjects = Slots::DrawObjects;
    t.UnloadObject = Slots::UnloadObject;
    t.LookupObjects = Slots::LookupObjects;
    t.LoadObjectAsync = Slots::LoadObjectAsync;
    t.ReloadScenery = Slots::ReloadScenery;
    t.LoadDataFile = Slots::DataFile;
    t.SaveDataFile = Slots::DataFile;
}

HeadlessHost::~HeadlessHost()
{
    gHost = nullptr;
}

void HeadlessHost::NoteCall(const char* service)
{
    if (watchedId > 0 && library.GetMyID() == watchedId && !library.IsPluginEnabled(watchedId))
        callsWhileDisabled.emplace_back(service);
}

int HeadlessHost::FindMenuItem(const std::string& path) const
{
    std::vector<std::string> parts;
    std::stringstream stream(path);
    for (std::string part; std::getline(stream, part, '/');)
        parts.push_back(part);
    if (parts.size() < 2)
        return -1;
    const Menu* menu = nullptr;
    for (const Menu& candidate : menus)
        if (candidate.parent == 0 && candidate.name == parts[0])
            menu = &candidate;
    for (size_t i = 1; menu != nullptr && i < parts.size(); ++i) {
        int position = -1;
        for (size_t p = 0; p < menu->items.size(); ++p)
            if (menu->items[p].second == parts[i])
                position = static_cast<int>(p);
        if (position < 0)
            return -1;
        if (i + 1 == parts.size())
            return menu->items[position].first;
        const Menu* child = nullptr;
        for (const Menu& candidate : menus)
            if (candidate.parent == menu->id && candidate.parentItem == position)
                child = &candidate;
        menu = child;
    }
    return -1;
}

void* HeadlessHost::Command(const std::string& name, bool create)
{
    auto found = mCommands.find(name);
    if (found != mCommands.end())
        return found->second.get();
    if (!create)
        return nullptr;
    auto record = std::make_unique<CommandRecord>();
    record->name = name;
    void* handle = record.get();
    mCommands[name] = std::move(record);
    return handle;
}

std::string HeadlessHost::CommandName(void* command) const
{
    for (const auto& [name, record] : mCommands)
        if (record.get() == command)
            return name;
    return "";
}

}  // namespace vornhost
