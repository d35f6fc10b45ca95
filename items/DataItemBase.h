#pragma once
// The base of the data items: small objects that mirror the host's objects, cache what paint
// code reads, and turn host notifications into change flags for the regions that listen.
#include <windows.h>
#include <vector>

#include "items/DataItemListener.h"

class CDataItemBase
{
public:
    CDataItemBase() noexcept;
    CDataItemBase(const CDataItemBase&) = delete;
    CDataItemBase& operator=(const CDataItemBase&) = delete;
    // Tells each remaining listener that the item goes away, first entry first.
    virtual ~CDataItemBase();

    // ORs `flags` into Flags; with a non-zero `fanOut` also tells each listener of `flags`
    // (not of the accumulated word).
    void NotifyChange(DWORD flags, int fanOut);

    // A region registers by appending itself; it leaves from OnDataItemRemoved or its destructor.
    void AddListener(CDataItemListener* listener);
    // Erases the first entry equal to `listener`; the others keep their order.
    void RemoveListener(CDataItemListener* listener);
    bool HasListener(const CDataItemListener* listener) const;

    // Stale and change bits, whose meaning each class gives (ItemFlags.h).
    DWORD Flags;
    // In order of registration; not owned.
    std::vector<CDataItemListener*> Listeners;

private:
    // One fan-out under way, on the stack, linked to the one it runs inside. A listener may
    // delete the item: the destructor marks every fan-out still under way, and each returns
    // without touching the item again.
    struct CFanOut
    {
        CDataItemBase* Item;
        CFanOut* Outer;
        bool ItemDeleted = false;
        explicit CFanOut(CDataItemBase* item) noexcept : Item(item), Outer(item->ActiveFanOut) { item->ActiveFanOut = this; }
        ~CFanOut() { if (!ItemDeleted) Item->ActiveFanOut = Outer; }
        CFanOut(const CFanOut&) = delete;
        CFanOut& operator=(const CFanOut&) = delete;
    };
    CFanOut* ActiveFanOut = nullptr;
};
