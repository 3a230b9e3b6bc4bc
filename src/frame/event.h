// Subscriber lists and their firing: SynchronyzedObjectContainer<T> keeps the subscribers under a
// CSyncRWLock; Event<Signature, Member> calls one member function on each of them.
//
// Contract:
// - Add and Remove take the write side; Add refuses a pointer already there, Remove one that is
//   not. Subscribers are plain pointers in the order they were added, never owned.
// - Fire takes the read side for the whole round and calls the member on each subscriber in
//   order, on the calling thread. The read side is recursive, so a handler may fire again on the
//   same thread (also while a writer waits), but it must not Add or Remove: asking for write
//   while reading ends the process. Nothing catches a subscriber's exception: it passes through
//   Fire and the read side stays taken, so subscribers must not throw.
// - An iteration record that cannot be allocated makes a round that calls nobody.
#pragma once

#include "frame/sync_rw_lock.h"

#include <algorithm>
#include <new>
#include <vector>

template <class T>
class SynchronyzedObjectContainer : public CSyncRWLock {
public:
    bool Add(T item) {
        WriteSide side(*this);
        if (std::find(m_items.begin(), m_items.end(), item) != m_items.end()) {
            return false;
        }
        m_items.push_back(item);
        return true;
    }

    bool Remove(T item) {
        WriteSide side(*this);
        auto found = std::find(m_items.begin(), m_items.end(), item);
        if (found == m_items.end()) {
            return false;
        }
        m_items.erase(found);
        return true;
    }

    // Read the items only with a side of the lock taken.
    const std::vector<T>& ItemsLocked() const noexcept { return m_items; }

private:
    struct WriteSide {
        explicit WriteSide(CSyncRWLock& lock) : m_lock(lock) { m_lock.LockWrite(0); }
        ~WriteSide() { m_lock.UnlockWrite(0); }
        CSyncRWLock& m_lock;
    };

    std::vector<T> m_items;
};

// The shape of a member function with two arguments, for Event.
template <class I, class R, class A1, class A2>
struct MemberFunction_2_args {
    using Interface = I;
    using Pointer = R (I::*)(A1, A2);
};

// How Event takes and gives back the read side of its container's lock.
template <class Lock>
struct __Event_LockAdaptor {
    static void LockRead(Lock& lock) { lock.LockRead(0); }
    static void UnlockRead(Lock& lock) { lock.UnlockRead(0); }
};

template <class Signature, typename Signature::Pointer Member>
class Event {
public:
    using Interface = typename Signature::Interface;
    using Pointer = typename Signature::Pointer;
    using Container = SynchronyzedObjectContainer<Interface*>;
    using LockAdaptor = __Event_LockAdaptor<CSyncRWLock>;

    explicit Event(Container* container) noexcept : m_container(container) {}
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    // slot 0: starts a round; *record is null when it could not be allocated.
    virtual bool Begin(void** record) {
        auto* round = new (std::nothrow) Round{0, m_container};
        *record = round;
        if (round != nullptr) {
            LockAdaptor::LockRead(*round->container);
            round->position = 0;
        }
        return true;
    }

    // slot 1: the next subscriber and the member to call on it; false at the end.
    virtual bool Next(void* record, Interface** target, Pointer* member) {
        auto* round = static_cast<Round*>(record);
        if (round == nullptr) {
            return false;
        }
        const auto& items = round->container->ItemsLocked();
        if (round->position >= items.size()) {
            return false;
        }
        *target = items[round->position++];
        *member = Member;
        return true;
    }

    // slot 2: ends a round.
    virtual void End(void** record) {
        auto* round = static_cast<Round*>(*record);
        if (round != nullptr) {
            LockAdaptor::UnlockRead(*round->container);
            delete round;
        }
        *record = nullptr;
    }

    // slot 3
    virtual Pointer MemberPointer() { return Member; }

    template <class... Args>
    void Fire(Args&&... args) {
        void* record = nullptr;
        Begin(&record);
        Interface* target = nullptr;
        Pointer member = nullptr;
        while (Next(record, &target, &member)) {
            (target->*member)(args...);
        }
        End(&record);
    }

private:
    struct Round {
        std::size_t position;
        Container* container;
    };

    Container* m_container;
};
