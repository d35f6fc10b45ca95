#include "items/DataItemBase.h"
#include <algorithm>


CDataItemBase::CDataItemBase() noexcept : Flags(0xFFFFFFFF)
{
}

CDataItemBase::~CDataItemBase()
{
    for (CFanOut* guard = ActiveFanOut; guard; guard = guard->Outer) guard->ItemDeleted = true;
    while (!Listeners.empty()) {
        CDataItemListener* first = Listeners.front();
        const size_t count = Listeners.size();
        if (first) first->OnDataItemRemoved(this);
        // A listener that did not take itself out would hold the loop for ever.
        if (!Listeners.empty() && Listeners.size() == count && Listeners.front() == first)
            Listeners.erase(Listeners.begin());
    }
}

void CDataItemBase::NotifyChange(DWORD flags, int fanOut)
{
    Flags |= flags;
    if (!fanOut || Listeners.empty()) return;
    // Listeners may leave, or make others leave, while they are told: walk a copy, and tell
    // only those still registered. Those that join meanwhile hear of the next change.
    const std::vector<CDataItemListener*> snapshot = Listeners;
    CFanOut guard(this);
    for (CDataItemListener* listener : snapshot) {
        if (listener && HasListener(listener)) listener->OnDataItemChanged(this, flags);
        if (guard.ItemDeleted) return;
    }
}

void CDataItemBase::AddListener(CDataItemListener* listener)
{
    Listeners.push_back(listener);
}

void CDataItemBase::RemoveListener(CDataItemListener* listener)
{
    auto found = std::find(Listeners.begin(), Listeners.end(), listener);
    if (found != Listeners.end()) Listeners.erase(found);
}

bool CDataItemBase::HasListener(const CDataItemListener* listener) const
{
    return std::find(Listeners.begin(), Listeners.end(), listener) != Listeners.end();
}
