// The deferred-deletion list on its own. Each row is a script of steps on
// one list and the trace of what it showed:
//   +n / >n   link a record named n at the front / back ("n:7": owner 7)
//   [ / ]     begin / end an iteration
//   -n        Kill (traces 1 if the record was live, else 0)
//   ~n / !n   kill deferred / at once, whatever the depth (traced as -n)
//   ^n        move to the front
//   On / In   remove owner n's records by owner / by a predicate
//   W@n{...}  a dispatch walk that runs the steps in braces standing on n;
//             traces the live records it met
//   Xn        an iteration that kills n and is left by an exception
//   L  linked records front to back (dead ones with a *), R back to front
//   D  records freed so far, Z depth, P purge pending, Sn the record after n
//   Cn owner n's chain (checked against the list), Nn its live count
//   U  records unlinked since the last U

#include "VORNResourceList.h"

#include <gmock/gmock.h>

#include <cctype>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

int gFreed = 0;
std::vector<std::string> gUnlinked;

struct Item : VORNResource_t {
    Item(std::string n, int32_t o) : name(std::move(n)), owner(o) {}
    ~Item() { ++gFreed; }
    std::string name;  // an owned payload, freed by the destructor
    int32_t owner;
};

class Script {
public:
    std::string Run(const std::vector<std::string>& steps)
    {
        for (size_t i = 0; i < steps.size(); ++i) {
            const std::string& step = steps[i];
            if (step.rfind("W@", 0) == 0) {
                std::vector<std::string> inner;
                ++i;  // the opening brace
                for (int open = 1; open > 0;) {
                    const std::string& next = steps[++i];
                    open += next == "{" ? 1 : next == "}" ? -1 : 0;
                    if (open > 0)
                        inner.push_back(next);
                }
                Walk(step.substr(2), inner);
            } else {
                Step(step);
            }
        }
        list.KillIf([](const Item&) { return true; });
        return trace.str();
    }

private:
    static std::string Name(Item* item) { return item->dead ? item->name + "*" : item->name; }

    std::string Chain(int32_t owner)
    {
        std::string chained, filtered;
        for (Item* item = list.FirstOwnedBy(owner); item; item = list.NextOwned(item))
            chained += Name(item) + ",";
        for (Item* item = list.First(); item; item = list.Next(item))
            filtered += item->owner == owner ? Name(item) + "," : "";
        EXPECT_EQ(chained, filtered) << "owner " << owner << "'s chain against the list";
        return chained;
    }

    void Walk(const std::string& at, const std::vector<std::string>& inner)
    {
        std::string met;
        StIterate<Item> iterate(list);
        for (Item* item = list.First(); item; item = list.Next(item)) {
            if (item->dead)
                continue;
            met += item->name + ",";
            if (item->name == at)
                for (const std::string& step : inner)
                    Step(step);
        }
        trace << "W:" << met << " ";
    }

    void Step(const std::string& step)
    {
        const char op = step[0];
        const std::string arg = step.substr(1);
        if (op == '+' || op == '>') {
            const size_t colon = arg.find(':');
            auto* item = new Item(arg.substr(0, colon),
                                  colon == std::string::npos ? 0 : std::stoi(arg.substr(colon + 1)));
            items[item->name] = item;
            op == '+' ? list.PushFront(item) : list.PushBack(item);
            return;
        }
        const int n = std::isdigit(arg.empty() ? 'x' : arg[0]) ? std::stoi(arg) : -1;
        switch (op) {
        case '[': return list.BeginIterate();
        case ']': return list.EndIterate();
        case '^': return list.MoveToFront(items[arg]);
        case 'O': return list.KillOwnedBy(n);
        case 'I': return list.KillIf([n](const Item& item) { return item.owner == n; });
        case '-': trace << list.Kill(items[arg]) << " "; return;
        case '~': case '!': trace << list.VORNKillResource(items[arg], op == '~') << " "; return;
        case 'X':
            try {
                StIterate<Item> iterate(list);
                list.Kill(items[arg]);
                throw 1;
            } catch (int) {
            }
            return;
        }
        trace << step << ":";
        switch (op) {
        case 'L': case 'R':
            for (Item* item = op == 'L' ? list.First() : list.Last(); item;
                 item = op == 'L' ? list.Next(item) : list.Prev(item))
                trace << Name(item) << ",";
            break;
        case 'D': trace << gFreed; break;
        case 'Z': trace << list.Depth(); break;
        case 'P': trace << list.PurgePending(); break;
        case 'S': trace << list.Next(items[arg])->name; break;
        case 'C': trace << Chain(n); break;
        case 'N': trace << list.CountOwnedBy(n); break;
        case 'U':
            for (const std::string& name : gUnlinked)
                trace << name << ",";
            gUnlinked.clear();
        }
        trace << " ";
    }

    VORNResourceList<Item> list{[](Item* item) { gUnlinked.push_back(item->name); }};
    std::map<std::string, Item*> items;
    std::ostringstream trace;
};

struct Row {
    const char* name;
    const char* script;
    const char* trace;
};

class ResourceListTest : public ::testing::TestWithParam<Row> {};

TEST_P(ResourceListTest, Script)
{
    gFreed = 0;
    gUnlinked.clear();
    std::istringstream words(GetParam().script);
    const std::vector<std::string> steps{std::istream_iterator<std::string>(words), {}};
    EXPECT_EQ(Script().Run(steps), GetParam().trace);
}

const Row kRows[] = {
    {"NewRecordsGoToTheFrontAndBackLinksMatch", "+a +b +c L R", "L:c,b,a, R:a,b,c, "},
    {"AKillOutsideAnyWalkFreesAtOnce", "+a +b +c -c D L -a L P",
     "1 D:1 L:b,a, 1 L:b, P:0 "},
    {"AKillDuringAnIterationOnlyMarksUntilItEnds", "+a +b [ -b P D L ] D P L",
     "1 P:1 D:0 L:b*,a, D:1 P:0 L:a, "},
    {"ADeadRecordIsNeverQueuedTwiceNorFreedAtOnce", "+a [ ~a ~a !a D ] D L", "1 0 0 D:0 D:1 L: "},
    {"ADeferredKillOutsideAnyWalkWaitsForTheNextEnd", "+a ~a L [ ] D L", "1 L:a*, D:1 L: "},
    {"DepthNeverGoesBelowZero", "] ] Z [ Z +a -a D ] D", "Z:0 Z:1 1 D:0 D:1 "},
    // Look-ups no longer see it, but an outer walk may still stand on it.
    {"ANestedEndUnlinksButFreesOnlyAtDepthZero", "+a +b [ [ -b ] L D Sb ] D",
     "1 L:a, D:0 Sb:a D:1 "},
    {"AnOuterWalkSurvivesNestedRemovalOfItsRecordAndTheFollowingOnes",
     "+e +d +c +b +a W@b { [ -b -d ] [ -c ] +new } D L", "1 1 1 W:a,b,e, D:3 L:new,a,e, "},
    {"EachOwnersChainFollowsTheListThroughEveryChange",
     "+a1:1 +b1:2 +a2:1 >a0:1 +b2:2 C1 ^b1 ^a0 L C1 C2 [ -a2 C1 N1 ] C1 -b1 -b2 C2 N2 +b3:2 C2",
     "C1:a2,a1,a0, L:a0,b1,b2,a2,a1, C1:a0,a2,a1, C2:b1,b2, 1 C1:a0,a2*,a1, N1:2 C1:a0,a1, 1 1 "
     "C2: N2:0 C2:b3, "},
    {"KillIfRemovesAllMatchesInOneIterationInListOrder",
     "+x1:7 +y1:8 +x2:7 +y2:8 >x0:7 I7 U Z D C7 N8", "U:x0,x1,x2, Z:0 D:3 C7: N8:2 "},
    {"KillOwnedByRemovesWhatKillIfWould", "+x1:7 +y1:8 +x2:7 +y2:8 >x0:7 O7 U Z D C7 N8",
     "U:x0,x1,x2, Z:0 D:3 C7: N8:2 "},
    {"KillOwnedByDuringAWalkLeavesTheWalkItsRecords", "+a1:1 +b1:2 +a2:1 W@a2 { O1 D C1 } D L",
     "D:0 C1: W:a2,b1, D:2 L:b1, "},
    {"AnIterationLeftByAnExceptionEndsAndFrees", "+a Xa Z D", "Z:0 D:1 "},
};

INSTANTIATE_TEST_SUITE_P(Rows, ResourceListTest, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<Row>& info) {
                             return std::string(info.param.name);
                         });

}  // namespace
