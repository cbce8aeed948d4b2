// VORNProcessingQueue.h - where the flight-loop pass finds the loops that
// are due without looking at the others.
//
// Each phase keeps its scheduled loops in three places: the loops due at
// (about) every pass in an array ordered like the registry (newest first),
// which every pass walks; and the loops due later in two min-heaps by due
// point, one for loops counted in seconds (keyed by last call time plus
// interval) and one for loops counted in passes (keyed by last call cycle
// minus interval), from which a pass takes only the entries that are due.
// Idle loops (interval 0 or not a number, a due point that is not a number)
// and loops of a phase other than 0 or 1 are in none of them.
#ifndef VORN_PROCESSING_QUEUE_H
#define VORN_PROCESSING_QUEUE_H

#include "VORNProcessingInternal.h"

#include <cstdint>
#include <limits>
#include <vector>

// VORNFlightLoopRecord::queuePlace.
enum VORNQueuePlace : uint8_t {
    kQueueNowhere,  // idle, dead, a phase no pass runs, or taken from the ready list
    kQueueNear,     // the phase's array walked by every pass; queueSlot is the index
    kQueueSeconds,  // the phase's heap of loops counted in seconds; queueSlot is the index
    kQueuePasses,   // the phase's heap of loops counted in passes; queueSlot is the index
    kQueueReady,    // taken out as due by the running pass, waiting for its turn
    kQueueJoining,  // called by the running pass, joins the near array when it ends
};

// A binary min-heap of loops by due point; each loop's queueSlot is its
// index, so a loop that is rescheduled or removed leaves in O(log n). Keys
// are never NaN.
class VORNFlightLoopHeap {
public:
    bool Empty() const { return mEntries.empty(); }

    // The earliest due point, +infinity when empty.
    float FirstKey() const { return mFirstKey; }
    // Its loop; only when not empty.
    VORNFlightLoopRecord* First() const { return mEntries.front().loop; }

    // Adds loop, which must be in no heap, due at key. May throw
    // std::bad_alloc, leaving the heap as it was.
    void Push(VORNFlightLoopRecord* loop, float key)
    {
        mEntries.push_back(Entry{key, loop});
        SiftUp(static_cast<uint32_t>(mEntries.size() - 1), Entry{key, loop});
        mFirstKey = mEntries.front().key;
    }

    // Removes the loop at slot.
    void Remove(uint32_t slot)
    {
        const Entry last = mEntries.back();
        mEntries.pop_back();
        if (slot < mEntries.size()) {
            if (slot > 0 && last.key < mEntries[(slot - 1) / 2].key)
                SiftUp(slot, last);
            else
                SiftDown(slot, last);
        }
        mFirstKey = mEntries.empty() ? kNone : mEntries.front().key;
    }

private:
    struct Entry {
        float key;
        VORNFlightLoopRecord* loop;
    };

    void Place(uint32_t slot, const Entry& entry)
    {
        mEntries[slot] = entry;
        entry.loop->queueSlot = slot;
    }

    void SiftUp(uint32_t slot, const Entry& entry)
    {
        while (slot > 0) {
            const uint32_t parent = (slot - 1) / 2;
            if (!(entry.key < mEntries[parent].key))
                break;
            Place(slot, mEntries[parent]);
            slot = parent;
        }
        Place(slot, entry);
    }

    void SiftDown(uint32_t slot, const Entry& entry)
    {
        const size_t size = mEntries.size();
        for (;;) {
            size_t child = 2 * size_t{slot} + 1;
            if (child >= size)
                break;
            if (child + 1 < size && mEntries[child + 1].key < mEntries[child].key)
                ++child;
            if (!(mEntries[child].key < entry.key))
                break;
            Place(slot, mEntries[child]);
            slot = static_cast<uint32_t>(child);
        }
        Place(slot, entry);
    }

    static constexpr float kNone = std::numeric_limits<float>::infinity();

    std::vector<Entry> mEntries;
    float mFirstKey = kNone;  // kept apart: a pass reads only this when nothing is due
};

#endif
