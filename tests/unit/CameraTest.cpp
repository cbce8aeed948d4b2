// Camera control: the controller rewrites the host's values each frame until
// it gives up, the host ends a short control, another plug-in takes over, or
// the controller is disabled or unloaded.

#include "PluginTrioFixture.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Every call of a controller callback: "<tag> as <id> flag <f> <values>".
std::vector<std::string> gSeen;
int gKeep = 1;

std::string Values(const VORNCameraPositionRecord* position)
{
    if (position == nullptr)
        return "null";
    std::string text;
    for (float v : position->values)
        text += (text.empty() ? "" : ",") + Fmt(v);
    return text;
}

int Controller(VORNCameraPositionRecord* position, int losing, void* refcon)
{
    gSeen.push_back(std::string(static_cast<const char*>(refcon)) + " as " +
                    std::to_string(VORNGetMyID()) + " flag " + std::to_string(losing) + " " +
                    Values(position));
    if (position != nullptr)
        position->values[0] += 100;
    return gKeep;
}

int LetGoInside(VORNCameraPositionRecord* position, int losing, void* refcon)
{
    Controller(position, losing, refcon);
    VORNDontControlCamera();
    return 1;
}

int HandOverInside(VORNCameraPositionRecord* position, int losing, void* refcon)
{
    Controller(position, losing, refcon);
    VORNControlCamera(2, Controller, const_cast<char*>("next"));
    return 1;
}

int Throw(VORNCameraPositionRecord*, int, void*)
{
    throw std::runtime_error("plug-in fault");
}

class CameraTest : public PluginTrioTest {
protected:
    void SetUp() override
    {
        PluginTrioTest::SetUp();
        gSeen.clear();
        gKeep = 1;
    }

    void Control(int id, int duration, VORNCameraControl_f callback = Controller,
                 const char* tag = nullptr)
    {
        const char* refcon = tag != nullptr ? tag : Record(id).name.c_str();
        As(id, [&] { VORNControlCamera(duration, callback, const_cast<char*>(refcon)); });
    }

    // One frame: the host offers its values; returns the hook's answer.
    int Frame()
    {
        return VORNCameraHook(&v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]);
    }

    std::string HostValues() const
    {
        VORNCameraPositionRecord record;
        std::copy(v, v + 7, record.values);
        return Values(&record);
    }

    float v[7] = {1, 2, 3, 4, 5, 6, 7};
};

TEST_F(CameraTest, WithoutAControllerTheHostKeepsItsValues)
{
    EXPECT_EQ(Frame(), 1);
    EXPECT_EQ(HostValues(), "1,2,3,4,5,6,7");
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
}

TEST_F(CameraTest, TheControllerRewritesTheHostsValuesAsItself)
{
    Control(a, 2);
    EXPECT_EQ(Frame(), 0);
    EXPECT_THAT(gSeen, ElementsAre("A as 1 flag 0 1,2,3,4,5,6,7"));
    EXPECT_EQ(HostValues(), "101,2,3,4,5,6,7");
    EXPECT_EQ(VORNGetDispatchedPlugin(), 0);
    int duration = 0;
    EXPECT_EQ(VORNIsCameraBeingControlled(&duration), 1);
    EXPECT_EQ(duration, 2);
}

TEST_F(CameraTest, ACallbackGivingUpIsNotCalledAgain)
{
    Control(a, 2);
    gKeep = 0;
    EXPECT_EQ(Frame(), 1);
    EXPECT_EQ(HostValues(), "1,2,3,4,5,6,7");
    EXPECT_EQ(Frame(), 1);
    EXPECT_EQ(gSeen.size(), 1u);
    int duration = -5;
    EXPECT_EQ(VORNIsCameraBeingControlled(&duration), 0);
    EXPECT_EQ(duration, -5);
}

TEST_F(CameraTest, TheHostsReleaseEndsAShortControlWithALosingControlCall)
{
    Control(a, 1);
    EXPECT_EQ(VORNEventHook(1, nullptr, 0), 1);
    EXPECT_THAT(gSeen, ElementsAre("A as 1 flag 1 null"));
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    EXPECT_EQ(VORNCameraController(), -1);
    VORNReleaseCamera();
    EXPECT_EQ(gSeen.size(), 1u);
}

TEST_F(CameraTest, TheHostsReleaseLeavesALongerControlAlone)
{
    Control(a, 2);
    VORNReleaseCamera();
    EXPECT_THAT(gSeen, IsEmpty());
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 1);
}

TEST_F(CameraTest, ASecondControllerTakesOverSilently)
{
    Control(a, 2);
    Control(b, 2);
    EXPECT_THAT(gSeen, IsEmpty());
    Frame();
    VORNDisablePlugin(a);
    EXPECT_THAT(gSeen, ElementsAre("B as 2 flag 0 1,2,3,4,5,6,7"));
    EXPECT_EQ(VORNCameraController(), b);
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 1);
}

TEST_F(CameraTest, DisablingTheControllerTellsItWhileItIsStillEnabled)
{
    Control(a, 2);
    VORNDisablePlugin(a);
    EXPECT_THAT(gSeen, ElementsAre("A as 1 flag 1 null"));
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    UnloadOnePlugin(a);
    EXPECT_EQ(gSeen.size(), 1u);
}

TEST_F(CameraTest, AControlGivenUpBeforeDisableIsNotReleasedAgain)
{
    Control(a, 2);
    As(b, [] { VORNDontControlCamera(); });
    VORNDisablePlugin(a);
    EXPECT_THAT(gSeen, IsEmpty());
    EXPECT_EQ(VORNCameraController(), a);  // stays on record
}

TEST_F(CameraTest, AControllerFoundDisabledAtTheNextFrameLosesControlUntold)
{
    Control(a, 2);
    Record(a).enabled = false;
    EXPECT_EQ(Frame(), 1);
    EXPECT_THAT(gSeen, IsEmpty());
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    EXPECT_EQ(VORNCameraController(), -1);
}

// A plug-in that takes the camera inside its own VPluginDisable is already
// disabled: it stays the controller, is never called, and the next camera
// hook (or the host's release of a short control) drops it untold.
int gDisableDuration = 2;
void TakeCameraWhileDisabling()
{
    VORNControlCamera(gDisableDuration, Controller, const_cast<char*>("late"));
}

TEST_F(CameraTest, ACameraTakenInsideVPluginDisableIsDroppedUntoldByTheNextFrame)
{
    gDisableDuration = 2;
    Record(a).disable = TakeCameraWhileDisabling;
    VORNDisablePlugin(a);
    EXPECT_EQ(VORNCameraController(), a);
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 1);
    EXPECT_EQ(Frame(), 1);
    EXPECT_THAT(gSeen, IsEmpty());
    EXPECT_EQ(HostValues(), "1,2,3,4,5,6,7");
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    EXPECT_EQ(VORNCameraController(), -1);
}

TEST_F(CameraTest, AShortControlTakenInsideVPluginDisableIsReleasedUntoldByTheHost)
{
    gDisableDuration = 1;
    Record(a).disable = TakeCameraWhileDisabling;
    VORNDisablePlugin(a);
    EXPECT_EQ(VORNCameraController(), a);
    EXPECT_EQ(VORNEventHook(1, nullptr, 0), 1);
    EXPECT_THAT(gSeen, IsEmpty());
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    EXPECT_EQ(VORNCameraController(), -1);
}

TEST_F(CameraTest, UnloadingAnEnabledControllerTellsIt)
{
    Control(a, 2);
    UnloadOnePlugin(a);
    EXPECT_THAT(gSeen, ElementsAre("A as 1 flag 1 null"));
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
}

TEST_F(CameraTest, ACallbackLettingGoFromInsideStillSetsThisFrame)
{
    Control(a, 2, LetGoInside);
    EXPECT_EQ(Frame(), 0);
    EXPECT_EQ(HostValues(), "101,2,3,4,5,6,7");
    EXPECT_EQ(Frame(), 1);
    EXPECT_EQ(gSeen.size(), 1u);
}

TEST_F(CameraTest, ACallbackHandingOverFromInsideIsReplacedFromTheNextFrame)
{
    Control(a, 1, HandOverInside, "first");
    Frame();
    Frame();
    EXPECT_THAT(gSeen, ElementsAre("first as 1 flag 0 1,2,3,4,5,6,7",
                                   "next as 1 flag 0 101,2,3,4,5,6,7"));
    int duration = 0;
    VORNIsCameraBeingControlled(&duration);
    EXPECT_EQ(duration, 2);
}

TEST_F(CameraTest, AThrowingCallbackCountsAsGivingUp)
{
    Control(a, 2, Throw);
    EXPECT_EQ(Frame(), 1);
    EXPECT_EQ(HostValues(), "1,2,3,4,5,6,7");
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    EXPECT_EQ(VORNGetDispatchedPlugin(), 0);
}

TEST_F(CameraTest, ReadingThePositionAsksTheHost)
{
    host->cameraPosition[6] = 42;
    VORNCameraPositionRecord record{};
    VORNReadCameraPosition(&record);
    EXPECT_EQ(Values(&record), "1,2,3,4,5,6,42");
    VORNReadCameraPosition(nullptr);
    EXPECT_EQ(host->CountCalls("ReadCameraPosition"), 1u);
}

}  // namespace
