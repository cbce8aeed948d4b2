// The flight-loop pass against a plain walk of a newest-first list. One random script (odd
// intervals and times, both phases and an invalid one, disabled owners, callbacks that change
// loops, their own and others', throw, or run a pass of their own) runs against the library and
// against a model with no scheduler at all. Both draw from one seed, so as long as they call the
// same loops with the same arguments they make the same changes: the call sequences must match.

#include "LibraryFixture.h"
#include "VORNProcessingInternal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstdio>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

using namespace vorntest;

namespace {

constexpr int kPlugins = 3;  // ids 1..3
constexpr int kCallbacks = 2;
constexpr int kTags = 16;  // refcons; loops with equal callback and tag match alike

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// The registry operations the script uses. Loops are numbered in creation order; callers are
// plug-in ids.
class Registry {
public:
    virtual ~Registry() = default;
    virtual void Create(int caller, int phase, int callback, int tag) = 0;
    virtual void Register(int caller, int callback, float interval, int tag) = 0;
    virtual void Destroy(int caller, int loop) = 0;
    virtual void Schedule(int caller, int loop, float interval, int relative) = 0;
    virtual void Unregister(int callback, int tag) = 0;
    virtual void SetInterval(int callback, float interval, int relative, int tag) = 0;
    virtual void Cleanup(int owner) = 0;
    virtual void SetEnabled(int plugin, bool enabled) = 0;
    virtual void SetElapsed(float time) = 0;
    virtual void Pass(float time, int selector) = 0;
};

// The random driver of both runs: what to do between passes and inside each call, and what each
// call returns.
class Script {
public:
    Script(uint32_t seed, bool nestedPasses) : mRng(seed), mNestedPasses(nestedPasses) {}

    void Run(Registry& registry, int passes)
    {
        mRegistry = &registry;
        // A quarter of the scripts keep a handful of loops, so that the registry often crosses the
        // size below which passes walk the list.
        const bool few = Pick(4) == 0;
        mCap = few ? 7 : 80;
        const int initial = few ? Pick(7) : 10 + Pick(40);
        for (int i = 0; i < initial; ++i)
            CreateOne(RandomPlugin());
        for (mPass = 1; mPass <= passes; ++mPass) {
            for (int n = Pick(4); n > 0; --n)
                Act(RandomPlugin(), -1, -1);
            const int doomed = few && Pick(3) == 0 ? RandomLive(-1, -1) : -1;
            if (doomed >= 0)
                Destroy(mLoops[doomed].owner, doomed);
            if (Pick(8) == 0)
                mRegistry->SetEnabled(RandomPlugin(), Pick(3) != 0);
            mRegistry->Pass(NextPassTime(), RandomSelector());
        }
    }

    // A loop's callback was called by the registry. %a tells every float apart, NaN from -NaN too.
    float OnCall(int callback, int tag, int owner, float since, float now, int counter)
    {
        char call[160];
        std::snprintf(call, sizeof call,
                      "in pass %d callback %d tag %d owner %d (since %a, now %a, counter %d)", mPass,
                      callback, tag, owner, double(since), double(now), counter);
        calls.emplace_back(call);
        const int roll = Pick(20);
        const int actions = roll < 11 ? 0 : roll < 16 ? 1 : 1 + Pick(3);
        for (int n = 0; n < actions; ++n)
            Act(owner, callback, tag);
        if (Pick(6) == 0) {
            // Itself (or its twin): the result must overwrite this, and no second call this pass.
            const int self = RandomLive(callback, tag);
            if (self >= 0 && mLoops[self].callback == callback && mLoops[self].tag == tag)
                mRegistry->Schedule(mLoops[self].owner, self, RandomInterval(), Pick(2));
        }
        if (mNestedPasses && mNesting < 2 && Pick(40) == 0) {
            ++mNesting;
            mRegistry->Pass(NextPassTime(), RandomSelector());
            --mNesting;
        }
        if (Pick(60) == 0)
            throw std::runtime_error("plug-in failure");
        return Pick(4) == 0 ? -1.0f : RandomInterval();
    }

    std::vector<std::string> calls;

private:
    struct LoopInfo {
        int owner, callback, tag;
    };

    int Pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(mRng); }
    int RandomPlugin() { return 1 + Pick(kPlugins); }
    int RandomSelector() { return std::array<int, 6>{0, 10, 0, 10, 1, -3}[Pick(6)]; }

    template <typename T, size_t N>
    T PickOf(const std::array<T, N>& values) { return values[Pick(int(N))]; }
    float Offset() { return PickOf(std::array<float, 4>{0.0f, -0.01f, 0.005f, 0.5f}); }

    // Two times in three an interval that keeps a loop busy, else anything. The tiny ones leave
    // a loop due at the pass that just called it.
    float RandomInterval()
    {
        static const std::array<float, 11> kBusy = {-1.0f, -2.0f, -3.0f, -0.5f, -1.0e-30f, 0.01f,
                                                    0.0166f, 0.02f, 0.033f, 0.05f, 0.25f};
        static const std::array<float, 18> kAny = {-7.0f, -1.0e9f, 0.0f, -0.0f, kNaN, kInf, -kInf,
                                                   0.001f, 1.0f, 2.5f, 1.0e6f, 1.0e-30f, -1.0e-30f,
                                                   1.0e-7f, FLT_MAX, -1.0f, 0.0166f, -2.0f};
        return Pick(3) != 0 ? PickOf(kBusy) : PickOf(kAny);
    }

    // Pass times mostly move forward by a frame, sometimes stand still, jump, go back, or are
    // not finite.
    float NextPassTime()
    {
        const int roll = Pick(200);
        if (roll < 2)
            return roll == 0 ? kNaN : kInf;
        mTime += PickOf(std::array<float, 12>{0.0f, 0.004f, 0.01f, 0.0166f, 0.0166f, 0.02f, 0.05f,
                                              0.25f, 1.0f, 3.0f, -0.02f, 0.0166f});
        if (Pick(6) == 0)
            mRegistry->SetElapsed(Pick(50) == 0 ? kNaN : mTime + Offset());
        return mTime;
    }

    // A live loop; with a running callback's identity, half the time one that matches it
    // (itself, if it is the only one).
    int RandomLive(int callback, int tag)
    {
        if (mLive.empty())
            return -1;
        if (callback >= 0 && Pick(2) == 0) {
            std::vector<int> matching;
            std::copy_if(mLive.begin(), mLive.end(), std::back_inserter(matching), [&](int loop) {
                return mLoops[loop].callback == callback && mLoops[loop].tag == tag;
            });
            if (!matching.empty())
                return matching[Pick(static_cast<int>(matching.size()))];
        }
        return mLive[Pick(static_cast<int>(mLive.size()))];
    }

    // Anything may have removed the loops for which pred holds: their handles are never used again.
    template <typename Pred>
    void Retire(Pred pred)
    {
        mLive.erase(std::remove_if(mLive.begin(), mLive.end(),
                                   [&](int loop) { return pred(mLoops[loop]); }),
                    mLive.end());
    }

    void CreateOne(int caller)
    {
        const int callback = Pick(kCallbacks), tag = Pick(kTags);
        if (Pick(5) == 0) {
            mRegistry->Register(caller, callback, RandomInterval(), tag);
        } else {
            mRegistry->Create(caller, PickOf(std::array<int, 8>{0, 1, 0, 1, 0, 1, 2, -1}), callback, tag);
            if (Pick(5) != 0)
                mRegistry->Schedule(caller, static_cast<int>(mLoops.size()), RandomInterval(),
                                    Pick(2));
        }
        mLive.push_back(static_cast<int>(mLoops.size()));
        mLoops.push_back({caller, callback, tag});
    }

    // The caller of an operation on loop: nearly always its owner.
    int CallerFor(int loop) { return Pick(10) == 0 ? RandomPlugin() : mLoops[loop].owner; }

    void Destroy(int caller, int loop)
    {
        mRegistry->Destroy(caller, loop);
        if (caller == mLoops[loop].owner)
            Retire([&](const LoopInfo& info) { return &info == &mLoops[loop]; });
    }

    // One random change, made by plug-in caller (inside a callback of the given identity, or
    // between passes with callback -1).
    void Act(int caller, int callback, int tag)
    {
        const int roll = Pick(200);
        const int target = RandomLive(callback, tag);
        if (roll < 60) {
            if (mLive.size() < static_cast<size_t>(mCap))
                CreateOne(Pick(3) == 0 ? RandomPlugin() : caller);
        } else if (roll < 120) {
            if (target >= 0)
                mRegistry->Schedule(CallerFor(target), target, RandomInterval(), Pick(2));
        } else if (roll < 132) {
            if (target >= 0)
                Destroy(CallerFor(target), target);
        } else if (roll < 165) {
            const int matching = target >= 0 ? target : 0;
            if (!mLoops.empty())
                mRegistry->SetInterval(mLoops[matching].callback, RandomInterval(), Pick(2),
                                       mLoops[matching].tag);
        } else if (roll < 171) {
            if (target >= 0) {
                const LoopInfo t = mLoops[target];
                mRegistry->Unregister(t.callback, t.tag);
                Retire([&](const LoopInfo& loop) { return loop.callback == t.callback && loop.tag == t.tag; });
            }
        } else if (roll < 172) {
            const int owner = RandomPlugin();
            mRegistry->Cleanup(owner);
            Retire([&](const LoopInfo& loop) { return loop.owner == owner; });
        } else if (roll < 180) {
            mRegistry->SetEnabled(RandomPlugin(), Pick(4) != 0);
        } else {
            mRegistry->SetElapsed(mTime + Offset());
        }
    }

    std::mt19937 mRng;
    bool mNestedPasses;
    Registry* mRegistry = nullptr;
    std::vector<LoopInfo> mLoops;  // by creation number
    std::vector<int> mLive;        // loops whose handles may be used
    int mCap = 80;                 // no more live loops than this
    float mTime = 0.0f;
    int mPass = 0, mNesting = 0;
};

Script* gScript = nullptr;

// ---- The library ------------------------------------------------------------------

int gTags[kTags];

template <int kCallback>
float LibraryCallback(float since, float now, int counter, void* refcon)
{
    const int tag = static_cast<int>(static_cast<int*>(refcon) - gTags);
    return gScript->OnCall(kCallback, tag, VORNGetDispatchedPlugin(), since, now, counter);
}

const VORNFlightLoop_f kLibraryCallbacks[kCallbacks] = {LibraryCallback<0>, LibraryCallback<1>};

// Every operation as the plug-in `caller` (if given) would make it.
class Library : public Registry {
public:
    explicit Library(FakeHost& host) : mHost(host) {}

    void Create(int caller, int phase, int callback, int tag) override
    {
        StDispatchCallback as(caller);
        VORNCreateFlightLoop_t params = {24, phase, kLibraryCallbacks[callback], &gTags[tag]};
        mHandles.push_back(VORNCreateFlightLoop(&params));
    }
    void Register(int caller, int callback, float interval, int tag) override
    {
        StDispatchCallback as(caller);
        VORNRegisterFlightLoopCallback(kLibraryCallbacks[callback], interval, &gTags[tag]);
        mHandles.push_back(VORNFirstFlightLoop());  // the new record is first
    }
    void Destroy(int caller, int loop) override
    {
        StDispatchCallback as(caller);
        VORNDestroyFlightLoop(mHandles[loop]);
    }
    void Schedule(int caller, int loop, float interval, int relative) override
    {
        StDispatchCallback as(caller);
        VORNScheduleFlightLoop(mHandles[loop], interval, relative);
    }
    void Unregister(int cb, int tag) override { VORNUnregisterFlightLoopCallback(kLibraryCallbacks[cb], &gTags[tag]); }
    void SetInterval(int cb, float interval, int relative, int tag) override
    {
        VORNSetFlightLoopCallbackInterval(kLibraryCallbacks[cb], interval, relative, &gTags[tag]);
    }
    void Cleanup(int owner) override { VORNProcessingCleanupHook(owner); }
    void SetEnabled(int plugin, bool enabled) override { gAllPlugins.at(plugin)->enabled = enabled; }
    void SetElapsed(float time) override { mHost.elapsedTime = time; }
    void Pass(float time, int selector) override
    {
        VORNDoFlightLoopProcessing(time, selector);
        mHost.ClearRecord();
    }

private:
    FakeHost& mHost;
    std::vector<VORNFlightLoopID> mHandles;
};

// ---- The model: a plain list walked newest first ------------------------------------

class Model : public Registry {
    struct Loop {
        float lastCallTime, interval;
        int32_t lastCallCycle;
        int phase, callback, tag, owner;
        bool dead;  // removed; unlinked at the end of the iteration
    };

    static auto Matching(int callback, int tag)
    {
        return [=](const Loop* loop) { return loop->callback == callback && loop->tag == tag; };
    }

public:
    void Create(int caller, int phase, int callback, int tag) override
    {
        mLoops.push_back(std::make_unique<Loop>(Loop{mElapsed, 0.0f, mCounter, phase, callback, tag, caller, false}));
        mList.push_back(mLoops.back().get());  // the back is the newest
    }
    void Register(int caller, int callback, float interval, int tag) override
    {
        Create(caller, 0, callback, tag);
        mLoops.back()->interval = interval;
    }
    void Destroy(int caller, int loop) override
    {
        mLoops[loop]->dead |= mLoops[loop]->owner == caller;
        if (mDepth == 0)
            Purge();
    }
    void Schedule(int caller, int loop, float interval, int relative) override
    {
        if (mLoops[loop]->owner == caller)
            Reschedule(*mLoops[loop], interval, relative);
    }
    // The newest match, dead or alive.
    void Unregister(int callback, int tag) override
    {
        const auto it = std::find_if(mList.rbegin(), mList.rend(), Matching(callback, tag));
        if (it != mList.rend())
            (*it)->dead = true;
        Purge();
    }
    void SetInterval(int callback, float interval, int relative, int tag) override
    {
        for (Loop* loop : mList) {
            if (Matching(callback, tag)(loop))
                Reschedule(*loop, interval, relative);
        }
        Purge();
    }
    void Cleanup(int owner) override
    {
        for (Loop* loop : mList)
            loop->dead |= loop->owner == owner;
        Purge();
    }
    void SetEnabled(int plugin, bool enabled) override { mEnabled[plugin] = enabled; }
    void SetElapsed(float time) override { mElapsed = time; }

    // Newest first; loops created during the pass are not in the copy, and removed ones are
    // dead. A callback that throws counts as having returned the interval it had before the call.
    // Due times and cycles are worked out in single precision.
    void Pass(float time, int selector) override
    {
        ++mCounter;
        ++mDepth;
        for (Loop* loop : std::vector<Loop*>(mList.rbegin(), mList.rend())) {
            const float i = loop->interval;
            const bool due = i > 0.0f ? time >= loop->lastCallTime + i
                                      : i < 0.0f && float(mCounter) >= float(loop->lastCallCycle) - i;
            if (loop->dead || loop->phase != (selector != 0 ? 1 : 0) || !due || !mEnabled[loop->owner])
                continue;
            float next = i;
            try {
                next = gScript->OnCall(loop->callback, loop->tag, loop->owner,
                                       time - loop->lastCallTime, time, mCounter);
            } catch (const std::exception&) {
            }
            loop->interval = next;
            loop->lastCallTime = time;
            loop->lastCallCycle = mCounter;
        }
        --mDepth;
        Purge();
    }

private:
    void Reschedule(Loop& loop, float interval, int relative)
    {
        if (relative != 0)
            loop.lastCallTime = mElapsed;
        loop.interval = interval;
    }

    // Every iteration's end unlinks what was removed during it.
    void Purge()
    {
        mList.erase(std::remove_if(mList.begin(), mList.end(), [](Loop* l) { return l->dead; }),
                    mList.end());
    }

    std::vector<std::unique_ptr<Loop>> mLoops;  // by creation number
    std::vector<Loop*> mList;                   // linked records, oldest first
    int32_t mCounter = 0, mDepth = 0;
    float mElapsed = 0.0f;
    bool mEnabled[kPlugins + 1] = {true, true, true, true};
};

// ---- The comparison -----------------------------------------------------------------

class FlightLoopSchedulerTest : public LibraryTest {
protected:
    // Runs the seeds from firstSeed on; fails at the first call where the two runs part.
    void Compare(uint32_t firstSeed, int seeds, bool nestedPasses, int passes)
    {
        size_t total = 0;
        for (uint32_t seed = firstSeed; seed < firstSeed + static_cast<uint32_t>(seeds); ++seed) {
            ResetLibrary();
            VORNRegisterHostPlugin();
            for (int i = 1; i <= kPlugins; ++i)
                AddPlugin("P" + std::to_string(i), "t.p" + std::to_string(i));
            host->elapsedTime = 0.0f;
            auto run = [&](Registry&& registry) {
                Script script(seed, nestedPasses);
                gScript = &script;
                script.Run(registry, passes);
                return script.calls;
            };
            const std::vector<std::string> got = run(Library(*host)), want = run(Model());
            total += want.size();
            const size_t i = std::mismatch(got.begin(), got.end(), want.begin(), want.end()).first - got.begin();
            ASSERT_EQ(i < got.size() ? got[i] : "nothing", i < want.size() ? want[i] : "nothing")
                << "seed " << seed << ", call " << i << " of " << got.size() << " and " << want.size();
        }
        // A script that calls little would prove little: several calls a pass.
        EXPECT_GT(total, 4u * static_cast<size_t>(seeds) * static_cast<size_t>(passes)) << total;
    }
};

TEST_F(FlightLoopSchedulerTest, CallsWhatThePlainWalkCallsInTheSameOrder)
{
    Compare(1, 40, false, 400);
}

TEST_F(FlightLoopSchedulerTest, PassesDrivenFromInsideACallbackCallWhatThePlainWalkCalls)
{
    Compare(1001, 16, true, 300);
}

}  // namespace
