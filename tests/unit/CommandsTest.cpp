// Commands: find/create and the "sim/" rule, held commands, handler order,
// short-circuit, ownership, clean-up, and handlers that change the lists
// while they are being dispatched.

#include "LibraryFixture.h"
#include "VORN/VORNHostHooks.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Every handler call as "label:phase@caller".
std::vector<std::string> gTrace;

int Trace(VORNCommandRef, int phase, void* refcon)
{
    gTrace.push_back(std::string(static_cast<const char*>(refcon)) + ":" + std::to_string(phase) +
                     "@" + std::to_string(VORNGetMyID()));
    return 1;
}

int Consume(VORNCommandRef command, int phase, void* refcon)
{
    Trace(command, phase, refcon);
    return 0;
}

// A handler whose behaviour the test supplies; refcon is a Script*.
using Script = std::function<int(VORNCommandRef, int)>;
int RunScript(VORNCommandRef command, int phase, void* refcon)
{
    return (*static_cast<Script*>(refcon))(command, phase);
}

char kA[] = "A", kB[] = "B", kC[] = "C", kLate[] = "late";

class CommandsTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        gTrace.clear();
        VORNRegisterHostPlugin();
        a = AddPlugin("Alpha", "test.alpha");
        b = AddPlugin("Beta", "test.beta");
        Record(a).errorCallback = RecordError;
        Record(b).errorCallback = RecordError;
        cmd = host->CommandHandle("vorn/cmd");
        other = host->CommandHandle("vorn/other");
    }

    template <typename F>
    void As(int id, F&& body)
    {
        StDispatchCallback dispatch(id);
        body();
    }
    void Register(int id, VORNCommandCallback_f callback, int before, void* refcon,
                  VORNCommandRef command = nullptr)
    {
        As(id,
           [&] { VORNRegisterCommandHandler(command ? command : cmd, callback, before, refcon); });
    }
    std::vector<std::string> Continued()
    {
        host->ClearRecord();
        VORNCommandRepeatHook();
        return host->CallsNamed("CommandContinue");
    }
    static std::string Call(const char* name, void* command)
    {
        return std::string(name) + "(" + Fmt(command) + ")";
    }

    int a = -1, b = -1;
    VORNCommandRef cmd = nullptr, other = nullptr;
};

// ---- find and create ---------------------------------------------------------------------

TEST_F(CommandsTest, FindLooksUpCreateRegistersAndOnlyALowerCaseSimSlashIsReserved)
{
    EXPECT_EQ(VORNFindCommand("vorn/cmd"), cmd);
    EXPECT_EQ(VORNFindCommand("vorn/unknown"), nullptr);
    EXPECT_EQ(VORNFindCommand("sim/anything"), nullptr) << "no prefix rule when finding";
    VORNCommandRef made = nullptr;
    As(a, [&] {
        made = VORNCreateCommand("vorn/new", "A new one");
        for (const char* fine : {"SIM/x", "sim", "simx/y", "vorn/sim/x"})
            VORNCreateCommand(fine, "");
    });
    EXPECT_EQ(made, host->commands.at("vorn/new"));
    EXPECT_THAT(gErrors, IsEmpty());
    EXPECT_THAT(host->debugWrites, IsEmpty());
    EXPECT_THAT(host->CallsNamed("FindCommand"),
                ElementsAre("FindCommand(\"vorn/cmd\", null, 0)",
                            "FindCommand(\"vorn/unknown\", null, 0)",
                            "FindCommand(\"sim/anything\", null, 0)",
                            "FindCommand(\"vorn/new\", \"A new one\", 1)",
                            "FindCommand(\"SIM/x\", \"\", 1)", "FindCommand(\"sim\", \"\", 1)",
                            "FindCommand(\"simx/y\", \"\", 1)",
                            "FindCommand(\"vorn/sim/x\", \"\", 1)"));
    host->ClearRecord();
    As(a, [&] { made = VORNCreateCommand("sim/mine", "d"); });
    EXPECT_THAT(gErrors,
                ElementsAre("Plugin is illegally registering a command with the prefix sim/"));
    EXPECT_THAT(host->debugWrites,
                ElementsAre("[", "Alpha",
                            "]: ", "It is illegal to register a command starting with sim/", "\n"));
    EXPECT_EQ(made, host->commands.at("sim/mine")) << "the host's handle all the same";
    EXPECT_THAT(host->CallsNamed("FindCommand"),
                ElementsAre("FindCommand(\"sim/mine\", \"d\", 1)"));
    As(a, [&] { VORNCreateCommand("sim/", ""); });
    EXPECT_EQ(gErrors.size(), 2u);
}

// ---- begin, end, once, repeat ------------------------------------------------------------

TEST_F(CommandsTest, OnceHoldsNothingAndBeginHoldsTheCommandOnceUntilEnd)
{
    As(a, [&] { VORNCommandOnce(cmd); });
    ASSERT_EQ(host->calls.size(), 2u);
    EXPECT_EQ(host->calls[0].Text(), Call("CommandBegin", cmd));
    EXPECT_EQ(host->calls[1].Text(), Call("CommandEnd", cmd));
    EXPECT_THAT(Continued(), IsEmpty());
    EXPECT_EQ(VORNHeldCommandEntryCount(), 0u);
    host->ClearRecord();
    As(a, [&] {
        VORNCommandBegin(cmd);
        VORNCommandBegin(cmd);
    });
    EXPECT_THAT(host->CallsNamed("CommandBegin"),
                ElementsAre(Call("CommandBegin", cmd), Call("CommandBegin", cmd)))
        << "the host hears both";
    EXPECT_THAT(Continued(), ElementsAre(Call("CommandContinue", cmd))) << "held once";
    EXPECT_THAT(Continued(), ElementsAre(Call("CommandContinue", cmd)));
    As(a, [&] { VORNCommandEnd(cmd); });
    EXPECT_THAT(host->CallsNamed("CommandEnd"), ElementsAre(Call("CommandEnd", cmd)));
    EXPECT_THAT(Continued(), IsEmpty());
}

TEST_F(CommandsTest, RepeatGoesInAscendingPluginThenHandleOrder)
{
    VORNCommandRef low = std::min(cmd, other, std::less<VORNCommandRef>());
    VORNCommandRef high = std::max(cmd, other, std::less<VORNCommandRef>());
    VORNCommandRef third = host->CommandHandle("vorn/third");
    As(b, [&] { VORNCommandBegin(third); });
    As(a, [&] {
        VORNCommandBegin(high);
        VORNCommandBegin(low);
    });
    EXPECT_THAT(Continued(),
                ElementsAre(Call("CommandContinue", low), Call("CommandContinue", high),
                            Call("CommandContinue", third)));
}

TEST_F(CommandsTest, ADisabledPluginsCommandsStayHeldButAreNotContinued)
{
    As(a, [&] { VORNCommandBegin(cmd); });
    As(b, [&] { VORNCommandBegin(other); });
    Record(a).enabled = false;
    EXPECT_THAT(Continued(), ElementsAre(Call("CommandContinue", other)));
    Record(a).enabled = true;
    EXPECT_THAT(Continued(),
                ElementsAre(Call("CommandContinue", cmd), Call("CommandContinue", other)));
}

TEST_F(CommandsTest, AnEndByAnotherPluginLeavesTheHolderHolding)
{
    As(a, [&] { VORNCommandBegin(cmd); });
    As(b, [&] { VORNCommandEnd(cmd); });
    EXPECT_THAT(Continued(), ElementsAre(Call("CommandContinue", cmd)));
    host->ClearRecord();
    VORNCommandCleanupHook(a);
    EXPECT_THAT(host->CallsNamed("CommandEnd"), ElementsAre(Call("CommandEnd", cmd)))
        << "exactly one end at the holder's unload";
    EXPECT_THAT(Continued(), IsEmpty());
}

// ---- handler order and short-circuit -------------------------------------------------------

TEST_F(CommandsTest, BeforeHandlersRunNewestFirstAfterHandlersOldestFirstWithThePhase)
{
    Register(a, Trace, 1, kA);
    Register(b, Trace, 1, kB);
    Register(a, Trace, 0, kA);
    Register(b, Trace, 0, kB);
    EXPECT_EQ(VORNCommandHook(cmd, 1, 0, 1), 1);
    EXPECT_EQ(VORNCommandHook(cmd, 1, 0, 0), 1);
    EXPECT_EQ(VORNGetDispatchedPlugin(), 0);
    VORNCommandHook(cmd, 0, 0, 0);
    VORNCommandHook(cmd, 0, 1, 0);
    VORNCommandHook(cmd, 1, 1, 0);
    EXPECT_THAT(gTrace, ElementsAre("B:0@2", "A:0@1", "A:0@1", "B:0@2", "A:1@1", "B:1@2",
                                    "A:2@1", "B:2@2", "A:2@1", "B:2@2"));
}

TEST_F(CommandsTest, ABeforeHandlerReturningZeroStopsItsListOnly)
{
    Register(a, Trace, 1, kA);
    Register(b, Consume, 1, kB);
    Register(a, Trace, 0, kC);
    EXPECT_EQ(VORNCommandHook(cmd, 1, 0, 1), 0);
    EXPECT_THAT(gTrace, ElementsAre("B:0@2"));
    EXPECT_EQ(VORNCommandHook(cmd, 1, 0, 0), 1) << "the after list is a separate call";
    EXPECT_THAT(gTrace, ElementsAre("B:0@2", "C:0@1"));
}

TEST_F(CommandsTest, AnAfterHandlerReturningZeroStopsTheRestUnlessItsPluginIsDisabled)
{
    Register(a, Consume, 0, kA);
    Register(b, Trace, 0, kB);
    EXPECT_EQ(VORNCommandHook(cmd, 0, 1, 0), 0);
    EXPECT_THAT(gTrace, ElementsAre("A:2@1"));
    Record(a).enabled = false;
    EXPECT_EQ(VORNCommandHook(cmd, 1, 0, 0), 1);
    EXPECT_THAT(gTrace, ElementsAre("A:2@1", "B:0@2"));
    Record(a).enabled = true;
    EXPECT_EQ(VORNCommandHook(cmd, 1, 0, 0), 0) << "skipped, not removed";
}

TEST_F(CommandsTest, CommandsWithoutHandlersAreTheHostsAndCreateNoEntry)
{
    Register(a, Trace, 1, kA, other);
    EXPECT_EQ(VORNCommandHook(cmd, 1, 0, 1), 1);
    EXPECT_EQ(VORNCommandHook(other, 1, 0, 0), 1);
    int unknown = 0;
    EXPECT_EQ(VORNCommandHook(&unknown, 1, 0, 1), 1);
    EXPECT_FALSE(VORNHasCommandHandlerList(cmd, 1));
    EXPECT_FALSE(VORNHasCommandHandlerList(other, 0));
    EXPECT_THAT(gTrace, IsEmpty());
}

// ---- unregistration ---------------------------------------------------------------------

TEST_F(CommandsTest, UnregisterNeedsAllThreeValuesAndTheRightListAndRemovesOneEntry)
{
    Register(a, Trace, 0, kA);
    Register(a, Trace, 0, kA);
    As(a, [&] {
        VORNUnregisterCommandHandler(cmd, Trace, 1, kA);    // other list
        VORNUnregisterCommandHandler(cmd, Trace, 0, kB);    // other refcon
        VORNUnregisterCommandHandler(cmd, Consume, 0, kA);  // other callback
        VORNUnregisterCommandHandler(other, Trace, 0, kA);  // other command
        VORNUnregisterCommandHandler(cmd, nullptr, 0, kA);
    });
    VORNUnregisterCommandHandler(cmd, Trace, 0, kA);  // nor can the host remove a plug-in's
    As(a, [&] { VORNUnregisterCommandHandler(cmd, Trace, 0, kA); });
    VORNCommandHook(cmd, 1, 0, 0);
    EXPECT_THAT(gTrace, ElementsAre("A:0@1"));
    EXPECT_THAT(gErrors, IsEmpty()) << "a missing handler is ignored silently";
}

// ---- handlers changing the lists during dispatch -----------------------------------------

TEST_F(CommandsTest, AHandlerRemovedByAnEarlierOneIsNotCalled)
{
    Script remover = [&](VORNCommandRef command, int) {
        VORNUnregisterCommandHandler(command, Trace, 0, kB);
        return 1;
    };
    Register(a, RunScript, 0, &remover);
    Register(a, Trace, 0, kB);
    Register(a, Trace, 0, kC);
    VORNCommandHook(cmd, 1, 0, 0);
    EXPECT_THAT(gTrace, ElementsAre("C:0@1"));
}

TEST_F(CommandsTest, HandlersAddedDuringDispatchWaitForTheNextEvent)
{
    int added = 0;
    Script adder = [&](VORNCommandRef command, int) {
        // Enough registrations to move the list's storage under the dispatch.
        for (int i = 0; i < 64; ++i, ++added) {
            VORNRegisterCommandHandler(command, Trace, 1, kLate);
            VORNRegisterCommandHandler(command, Trace, 0, kLate);
        }
        return 1;
    };
    Register(a, Trace, 1, kA);
    Register(b, RunScript, 1, &adder);
    VORNCommandHook(cmd, 1, 0, 1);
    EXPECT_THAT(gTrace, ElementsAre("A:0@1"));
    Script quiet = [](VORNCommandRef, int) { return 1; };
    adder = quiet;
    gTrace.clear();
    VORNCommandHook(cmd, 0, 0, 1);
    EXPECT_EQ(gTrace.size(), 65u);
    EXPECT_EQ(gTrace.front(), "late:1@2") << "registered as the handler's own plug-in";
    EXPECT_EQ(added, 64);
}

TEST_F(CommandsTest, AfterHandlersAddedDuringAnAfterDispatchWaitForTheNextEvent)
{
    // After-handlers join the end of the list the dispatch is walking. Each
    // event runs only those there when it began, so a handler adding one more
    // of itself doubles them per event (bounded, should the walk meet them).
    int calls = 0;
    Script breeder = [&](VORNCommandRef command, int) {
        if (++calls < 64)
            VORNRegisterCommandHandler(command, RunScript, 0, &breeder);
        return 1;
    };
    Register(a, RunScript, 0, &breeder);
    std::vector<int> perEvent;
    for (int event = 0; event < 3; ++event) {
        calls = 0;
        VORNCommandHook(cmd, 0, 0, 0);
        perEvent.push_back(calls);
    }
    EXPECT_THAT(perEvent, ElementsAre(1, 2, 4));
}

TEST_F(CommandsTest, CleanupAfterAnUnregistrationStillFindsThePluginsOtherHandlers)
{
    Register(a, Trace, 0, kA);
    Register(a, Trace, 0, kC);
    Register(a, Trace, 1, kA, other);
    Register(b, Trace, 0, kB);
    As(a, [&] {
        VORNUnregisterCommandHandler(cmd, Trace, 0, kA);    // C stays in this list
        VORNUnregisterCommandHandler(other, Trace, 1, kA);  // the last one of that list
    });
    VORNPluginInventory held{};
    VORNCountCommandHoldings(a, &held);
    EXPECT_EQ(held.commandHandlers, 1);
    VORNCommandCleanupHook(a);
    VORNCommandHook(cmd, 1, 0, 0);
    EXPECT_THAT(gTrace, ElementsAre("B:0@2"));
}

// The host's CommandContinue and CommandEnd run command handlers, which may
// begin and end commands while the library walks its held set.
std::function<void(VORNCommandRef)> gHostReaction;
void ReactingContinue(VORNCommandRef command)
{
    FakeHost::Current().Record("CommandContinue", FmtArgs(command));
    if (gHostReaction)
        gHostReaction(command);
}
void ReactingEnd(VORNCommandRef command)
{
    FakeHost::Current().Record("CommandEnd", FmtArgs(command));
    if (gHostReaction)
        gHostReaction(command);
}

class CommandsReentryTest : public CommandsTest {
protected:
    void TearDown() override
    {
        gHostReaction = nullptr;
        CommandsTest::TearDown();
    }
};

TEST_F(CommandsReentryTest, ACommandEndedDuringRepeatIsNotContinued)
{
    host->table.CommandContinue = ReactingContinue;
    VORNCommandRef low = std::min(cmd, other, std::less<VORNCommandRef>());
    VORNCommandRef high = std::max(cmd, other, std::less<VORNCommandRef>());
    As(a, [&] {
        VORNCommandBegin(low);
        VORNCommandBegin(high);
    });
    gHostReaction = [&](VORNCommandRef) {
        StDispatchCallback asA(a);
        VORNCommandEnd(high);
        VORNCommandBegin(host->CommandHandle("vorn/new"));
    };
    EXPECT_THAT(Continued(), ElementsAre(Call("CommandContinue", low)));
}

TEST_F(CommandsReentryTest, CleanupEndsEachHeldCommandOnceInHandleOrder)
{
    host->table.CommandEnd = ReactingEnd;
    VORNCommandRef low = std::min(cmd, other, std::less<VORNCommandRef>());
    VORNCommandRef high = std::max(cmd, other, std::less<VORNCommandRef>());
    As(a, [&] {
        VORNCommandBegin(high);
        VORNCommandBegin(low);
    });
    Register(a, Trace, 1, kA);
    Register(a, Trace, 0, kA, other);
    Register(b, Trace, 1, kB);
    // While being unloaded, the plug-in's code still runs and grabs a command.
    gHostReaction = [&](VORNCommandRef) {
        StDispatchCallback asA(a);
        VORNCommandBegin(host->CommandHandle("vorn/grabbed"));
    };
    host->ClearRecord();
    VORNCommandCleanupHook(a);
    gHostReaction = nullptr;
    EXPECT_THAT(host->CallsNamed("CommandEnd"),
                ElementsAre(Call("CommandEnd", low), Call("CommandEnd", high)));
    EXPECT_FALSE(VORNHasHeldCommandEntry(a)) << "nothing stays held for the departed plug-in";
    EXPECT_THAT(Continued(), IsEmpty());
    VORNCommandHook(cmd, 1, 0, 1);
    VORNCommandHook(other, 1, 0, 0);
    EXPECT_THAT(gTrace, ElementsAre("B:0@2")) << "its handlers are gone, B's stay";
    EXPECT_TRUE(VORNHasCommandHandlerList(other, 0)) << "entries stay, emptied";
}

}  // namespace
