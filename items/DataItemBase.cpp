#include "DataItemBase.h"
#include <algorithm>
#include "ChartRegionBase.h"

CDataItemBase::CDataItemBase() noexcept : Flags(0xFFFFFFFF)
{
}

CDataItemBase::~CDataItemBase()
{
    while (!Listeners.empty()) {
        CChartRegionBase* first = Listeners.front();
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
    const std::vector<CChartRegionBase*> snapshot = Listeners;
    for (CChartRegionBase* listener : snapshot) {
        if (listener && HasListener(listener)) listener->OnDataItemChanged(this, flags);
    }
}

void CDataItemBase::AddListener(CChartRegionBase* listener)
{
    Listeners.push_back(listener);
}

void CDataItemBase::RemoveListener(CChartRegionBase* listener)
{
    auto found = std::find(Listeners.begin(), Listeners.end(), listener);
    if (found != Listeners.end()) Listeners.erase(found);
}

bool CDataItemBase::HasListener(const CChartRegionBase* listener) const
{
    return std::find(Listeners.begin(), Listeners.end(), listener) != Listeners.end();
}
