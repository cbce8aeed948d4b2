// VORNResourceList.h - the intrusive list behind every callback registry
// whose records may be removed while the list is being walked (draw
// callbacks, key sniffers, flight loops, windows, hot keys, command
// handlers, shared-data subscribers).
//
// Plug-in callbacks run inside a walk of their own list and may add or remove
// records of that list, including the one being called and the one an outer
// walk stands on. The rules that make this safe:
//  - new records go to the front, so a front-to-back walk never meets
//    them; a registry that keeps its records oldest first appends them at
//    the back instead, and its walks stop at the serial the list had when
//    they began (every record gets the next serial of its list when it is
//    linked);
//  - a record removed while any walk is running is only marked dead and put
//    on the kill list; dispatch loops skip dead records;
//  - when an iteration ends, the kill list is taken out of the list (so that
//    later look-ups no longer find those records), but the records themselves
//    are freed only once no iteration is running any more. Until then they
//    keep their own next/prev links, which lead a walk standing on one of
//    them on to the records that followed it;
//  - dispatch loops read the next link after the callback returns, which is
//    safe because nothing is freed while they run.
//
// Every record belongs to a plug-in (its `owner` field). Besides the list
// itself, the records of each owner are chained together, in list order, so
// that unloading a plug-in or counting what it holds visits only its own
// records, however many other plug-ins have. A record is in its owner's chain
// exactly while it is linked in the list (dead or not), and a record's owner
// never changes while it is linked.
#ifndef VORN_RESOURCE_LIST_H
#define VORN_RESOURCE_LIST_H

#include <cstdint>
#include <memory>
#include <set>
#include <type_traits>
#include <unordered_map>

// The header every record of a VORNResourceList starts with.
struct VORNResource_t {
    VORNResource_t* next = nullptr;
    bool dead = false;
    int32_t chainOwner = -1;  // the owner whose chain holds the record while it is linked
    VORNResource_t* prev = nullptr;
    VORNResource_t* killLink = nullptr;
    uint64_t serial = 0;  // 1, 2, ... in the order records joined their list
    // The neighbours among the same owner's records of the list, in list
    // order; like next/prev they stay as they were when the record leaves.
    VORNResource_t* ownerNext = nullptr;
    VORNResource_t* ownerPrev = nullptr;
};

// T is a record type derived from VORNResource_t, allocated with new, with an
// int32_t field `owner` (the plug-in it belongs to) set before it is linked.
// Its destructor is the payload's destroy hook (for example a record that
// owns a string releases it there); it runs when the record is finally freed.
template <typename T>
class VORNResourceList {
    static_assert(std::is_base_of<VORNResource_t, T>::value, "records start with VORNResource_t");

public:
    // onUnlink, if given, is told of every record as it leaves the list (just
    // before it is freed or set aside until the walks end), for registries
    // that index their records beside the list.
    explicit VORNResourceList(void (*onUnlink)(T*) = nullptr)
    {
        if (onUnlink != nullptr)
            Side().onUnlink = onUnlink;
    }
    VORNResourceList(const VORNResourceList&) = delete;
    VORNResourceList& operator=(const VORNResourceList&) = delete;

    // Frees every record, without telling onUnlink: the registry that owns
    // the list is being replaced as a whole (a reset) or the process ends.
    ~VORNResourceList() { FreeAll(); }

    // Resetting a registry is assigning it a fresh one: the records of this
    // list are freed as by the destructor and other's are taken over.
    VORNResourceList& operator=(VORNResourceList&& other) noexcept
    {
        if (this != &other) {
            FreeAll();
            mHead = other.mHead;
            mKillList = other.mKillList;
            mDepth = other.mDepth;
            mPurgePending = other.mPurgePending;
            mGraveyard = other.mGraveyard;
            mSerial = other.mSerial;
            mSide = std::move(other.mSide);
            other.mHead = other.mKillList = other.mGraveyard = nullptr;
            other.mDepth = 0;
            other.mPurgePending = false;
        }
        return *this;
    }

    // The first record (newest), after moving the cached head back to it.
    T* First()
    {
        while (mHead != nullptr && mHead->prev != nullptr)
            mHead = mHead->prev;
        return static_cast<T*>(mHead);
    }

    // The last record (oldest), for walks that go from back to front.
    T* Last()
    {
        VORNResource_t* node = First();
        while (node != nullptr && node->next != nullptr)
            node = node->next;
        return static_cast<T*>(node);
    }

    static T* Next(T* node) { return static_cast<T*>(node->next); }
    static T* Prev(T* node) { return static_cast<T*>(node->prev); }

    // The first record of owner in list order, removed ones not yet taken
    // out included; NextOwned leads on to owner's next one.
    T* FirstOwnedBy(int32_t owner) const
    {
        if (mSide == nullptr)
            return nullptr;
        const auto chain = mSide->chains.find(owner);
        return chain != mSide->chains.end() ? static_cast<T*>(chain->second.first) : nullptr;
    }

    static T* NextOwned(T* node) { return static_cast<T*>(node->ownerNext); }

    // Links a new record in front of the first one; the list keeps it. May
    // throw std::bad_alloc (the first record of an owner opens its chain);
    // then nothing has changed and the caller still has the record.
    void PushFront(T* node)
    {
        Chain& chain = ChainOf(node);
        VORNResource_t* first = First();
        node->prev = nullptr;
        node->next = first;
        node->serial = ++mSerial;
        if (first != nullptr)
            first->prev = node;
        mHead = node;
        LinkFirstInChain(chain, node);
    }

    // Links a new record behind the last one (registries kept oldest first);
    // the list keeps it. Walks running now meet it unless they stop at the
    // serial they began with. May throw as PushFront does.
    void PushBack(T* node)
    {
        Chain& chain = ChainOf(node);
        VORNResource_t* last = Last();
        node->next = nullptr;
        node->prev = last;
        node->serial = ++mSerial;
        if (last != nullptr)
            last->next = node;
        else
            mHead = node;
        node->ownerNext = nullptr;
        node->ownerPrev = chain.last;
        (chain.last != nullptr ? chain.last->ownerNext : chain.first) = node;
        chain.last = node;
    }

    // The serial of the newest record linked so far (0: none yet). A walk
    // that must not meet records added while it runs skips those above it.
    uint64_t Serial() const { return mSerial; }

    // Moves a live record to the front (window z-order), keeping its serial.
    // A walk following next links could then meet records twice; the window
    // walks therefore go over a snapshot of the order taken when they begin.
    void MoveToFront(T* node)
    {
        UnlinkFromList(node);
        VORNResource_t* first = First();
        node->prev = nullptr;
        node->next = first;
        if (first != nullptr)
            first->prev = node;
        mHead = node;
        // The owner's chain is there already, since node is in it.
        Chain& chain = mSide->chains.find(node->chainOwner)->second;
        UnlinkFromChain(chain, node);
        LinkFirstInChain(chain, node);
    }

    void BeginIterate() { ++mDepth; }

    // Most walks end with nothing removed: one test, and the rest out of line.
    void EndIterate()
    {
        if (mDepth > 0)
            --mDepth;
        if (mPurgePending || mGraveyard != nullptr)
            SettleAfterWalk();
    }

    // Removes node: deferred, it is marked dead and queued (once) until the
    // iteration ends; otherwise it is unlinked and freed now. A dead node
    // is left alone (never queued twice). Returns true when node was live.
    bool VORNKillResource(T* node, bool deferred)
    {
        if (node->dead)
            return false;  // already queued, or waiting to be freed
        if (!deferred) {
            Unlink(node);
            Forget(node);
            delete node;
        } else {
            node->dead = true;
            node->killLink = mKillList;
            mKillList = node;
            mPurgePending = true;
        }
        return true;
    }

    // Removes node, deferred exactly when an iteration is running.
    bool Kill(T* node) { return VORNKillResource(node, mDepth != 0); }

    // Removes every record for which pred(record) holds, within one iteration.
    template <typename Pred>
    void KillIf(Pred pred)
    {
        BeginIterate();
        for (T* node = First(); node != nullptr; node = Next(node)) {
            if (pred(*node))
                VORNKillResource(node, true);
        }
        EndIterate();
    }

    // Removes every record of owner, within one iteration and in list order,
    // as KillIf does, but visiting only that owner's records.
    void KillOwnedBy(int32_t owner)
    {
        BeginIterate();
        for (T* node = FirstOwnedBy(owner); node != nullptr; node = NextOwned(node))
            VORNKillResource(node, true);
        EndIterate();
    }

    // Live records for which pred(record) holds.
    template <typename Pred>
    int32_t CountIf(Pred pred)
    {
        int32_t count = 0;
        for (T* node = First(); node != nullptr; node = Next(node))
            count += (!node->dead && pred(*node)) ? 1 : 0;
        return count;
    }

    // Live records of owner.
    int32_t CountOwnedBy(int32_t owner) const
    {
        int32_t count = 0;
        for (T* node = FirstOwnedBy(owner); node != nullptr; node = NextOwned(node))
            count += node->dead ? 0 : 1;
        return count;
    }

    int32_t Depth() const { return mDepth; }
    bool PurgePending() const { return mPurgePending; }

private:
    // The first and last record of one owner.
    struct Chain {
        VORNResource_t* first = nullptr;
        VORNResource_t* last = nullptr;
    };

    // What not every list needs, held apart so that a list is as small as
    // the walks over arrays of lists (draw callbacks by phase) want it: the
    // unlink hook and the owners' chains (by owner, only owners with
    // records). Made by the first record linked, or by a hook given.
    struct SideState {
        void (*onUnlink)(T*) = nullptr;
        std::unordered_map<int32_t, Chain> chains;
    };

    // May throw std::bad_alloc, changing nothing.
    SideState& Side()
    {
        if (mSide == nullptr)
            mSide = std::make_unique<SideState>();
        return *mSide;
    }

    // The chain node joins, opened if need be (may throw, changing nothing).
    Chain& ChainOf(T* node)
    {
        Chain& chain = Side().chains[node->owner];
        node->chainOwner = node->owner;
        return chain;
    }

    static void LinkFirstInChain(Chain& chain, VORNResource_t* node)
    {
        node->ownerPrev = nullptr;
        node->ownerNext = chain.first;
        (chain.first != nullptr ? chain.first->ownerPrev : chain.last) = node;
        chain.first = node;
    }

    // Takes node out of its owner's chain; its own links stay as they were.
    static void UnlinkFromChain(Chain& chain, VORNResource_t* node)
    {
        (node->ownerPrev != nullptr ? node->ownerPrev->ownerNext : chain.first) = node->ownerNext;
        (node->ownerNext != nullptr ? node->ownerNext->ownerPrev : chain.last) = node->ownerPrev;
    }

    // Takes node out of the list; its own links stay as they were, so that a
    // walk standing on it can still move on.
    void UnlinkFromList(VORNResource_t* node)
    {
        if (mHead == node)
            mHead = node->next != nullptr ? node->next : node->prev;
        if (node->prev != nullptr)
            node->prev->next = node->next;
        if (node->next != nullptr)
            node->next->prev = node->prev;
    }

    // Takes node out of the list and of its owner's chain, closing the chain
    // when it was the owner's last record.
    void Unlink(VORNResource_t* node)
    {
        UnlinkFromList(node);
        auto& chains = mSide->chains;
        const auto chain = chains.find(node->chainOwner);
        UnlinkFromChain(chain->second, node);
        if (chain->second.first == nullptr)
            chains.erase(chain);
    }

    // Takes every queued record out of the list. With no iteration left they
    // are freed at once; otherwise they wait in the graveyard. Out of line:
    // the walks that end with nothing to purge (nearly all) should not pay
    // for its registers.
    __attribute__((noinline)) void Purge()
    {
        while (VORNResource_t* node = mKillList) {
            mKillList = node->killLink;
            Unlink(node);
            Forget(node);
            node->killLink = mGraveyard;
            mGraveyard = node;
        }
        mPurgePending = false;
    }

    // The records removed during the walks: out of the list now, freed once
    // no walk is left.
    __attribute__((noinline)) void SettleAfterWalk()
    {
        if (mPurgePending)
            Purge();
        if (mDepth == 0)
            FreeGraveyard();
    }

    void Forget(VORNResource_t* node)
    {
        if (mSide->onUnlink != nullptr)
            mSide->onUnlink(static_cast<T*>(node));
    }

    void FreeGraveyard()
    {
        while (VORNResource_t* node = mGraveyard) {
            mGraveyard = node->killLink;
            delete static_cast<T*>(node);
        }
    }

    // Queued records are still linked; only the graveyard lies outside.
    void FreeAll()
    {
        VORNResource_t* node = First();
        while (node != nullptr) {
            VORNResource_t* next = node->next;
            delete static_cast<T*>(node);
            node = next;
        }
        mHead = mKillList = nullptr;
        if (mSide != nullptr)
            mSide->chains.clear();
        FreeGraveyard();
        mDepth = 0;
        mPurgePending = false;
    }

    VORNResource_t* mHead = nullptr;
    VORNResource_t* mKillList = nullptr;
    int32_t mDepth = 0;
    bool mPurgePending = false;
    VORNResource_t* mGraveyard = nullptr;  // unlinked, freed when the depth is 0
    uint64_t mSerial = 0;                  // the last serial handed out
    std::unique_ptr<SideState> mSide;
};

// Keeps one iteration of a list open for the scope, on every path out.
template <typename T>
class StIterate {
public:
    explicit StIterate(VORNResourceList<T>& list) : mList(list) { mList.BeginIterate(); }
    ~StIterate() { mList.EndIterate(); }
    StIterate(const StIterate&) = delete;
    StIterate& operator=(const StIterate&) = delete;

private:
    VORNResourceList<T>& mList;
};

// For a registry made of many lists (handlers per command, subscribers per
// shared item, draw callbacks per phase): the keys of the lists in which each
// owner has live records, so that a clean-up or a count visits only those.
// The registry adds a list's key before it links a record there (so a failed
// link leaves at most a key too many, which costs a look-up and nothing
// else) and drops it once the owner has no live record left in that list.
template <typename Key>
class VORNListsByOwner {
public:
    // May throw std::bad_alloc, changing nothing.
    void Add(int32_t owner, const Key& key) { mKeys[owner].insert(key); }

    void Drop(int32_t owner, const Key& key)
    {
        const auto found = mKeys.find(owner);
        if (found == mKeys.end())
            return;
        found->second.erase(key);
        if (found->second.empty())
            mKeys.erase(found);
    }

    // The keys of owner's lists, in key order (empty when none).
    const std::set<Key>& Of(int32_t owner) const
    {
        static const std::set<Key> kNone;
        const auto found = mKeys.find(owner);
        return found != mKeys.end() ? found->second : kNone;
    }

    // Forgets owner, handing back the keys it had: for a clean-up, which
    // removes all of owner's records from those lists.
    std::set<Key> Take(int32_t owner)
    {
        std::set<Key> keys;
        const auto found = mKeys.find(owner);
        if (found != mKeys.end()) {
            keys.swap(found->second);
            mKeys.erase(found);
        }
        return keys;
    }

private:
    std::unordered_map<int32_t, std::set<Key>> mKeys;
};

#endif
