#pragma once
// The channel ordering: the one order in which the chart shows its channels (the strips, the
// axes, the trace drawing order, the value rows), and the owner of the channel items. A channel
// is on the chart exactly as long as the ordering holds it.
//
// Three ideas meet here: the order itself, which the user changes one channel at a time; a sort
// rule for channels that arrive, ascending or descending by display name; and a grouped head,
// the channels that come from groups, which stand first in group order and which nobody moves
// or moves anything in among, unless the head is dissolved (grouped mode 1).
//
// Hosts and property pages see the ordering through IQvxOrdering, IQvxDefaultOrdering and
// IQvxGroupedOrdering, and advise on its IQvxNotifications. Positions count from 1.
#include <windows.h>
#include <algorithm>
#include <new>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>
#include "com/AutomationTypes.h"
#include "com/ComObject.h"
#include "config/Groups.h"
#include "Interfaces.h"
#include "control/NotificationPoints.h"

// IQvxDefaultOrdering and IQvxGroupedOrdering name their operations alike: each face gives its
// pair names of its own.
class CDefaultOrderingFace : public IQvxDefaultOrdering
{
public:
    STDMETHODIMP GetMode(long* mode) final { return GetDefaultMode(mode); }
    STDMETHODIMP SetMode(long mode) final { return SetDefaultMode(mode); }
    virtual HRESULT GetDefaultMode(long* mode) = 0;
    virtual HRESULT SetDefaultMode(long mode) = 0;

protected:
    ~CDefaultOrderingFace() = default;
};

class CGroupedOrderingFace : public IQvxGroupedOrdering
{
public:
    STDMETHODIMP GetMode(long* mode) final { return GetGroupedMode(mode); }
    STDMETHODIMP SetMode(long mode) final { return SetGroupedMode(mode); }
    virtual HRESULT GetGroupedMode(long* mode) = 0;
    virtual HRESULT SetGroupedMode(long mode) = 0;

protected:
    ~CGroupedOrderingFace() = default;
};

// A one-dimensional ordering as the channel configuration holds it: the three interfaces, and
// what the configuration adds behind them.
class C1DOrderingBase : public IQvxOrdering, public CDefaultOrderingFace, public CGroupedOrderingFace
{
public:
    // One IUnknown for the three interfaces, so that the configuration can hold the object by
    // this type; the COM object gives it.
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override = 0;
    STDMETHODIMP_(ULONG) AddRef() override = 0;
    STDMETHODIMP_(ULONG) Release() override = 0;

    // The groups whose channels form the head; stored, not applied.
    virtual void SetGroups(CGroups* groups) = 0;
    virtual long GetGroupedCount() = 0;
    // Replaces all items by those of `keys`, in that order.
    virtual void SetNames(const std::vector<CBstr>& keys) = 0;

protected:
    ~C1DOrderingBase() = default;
};

// The notification side of an ordering, and what an ordering asks of the class that knows its
// items. Its points, numbered from 1: ordering, default ordering, grouped ordering.
template <class TKey, class TItem>
class COrdering : public C1DOrderingBase,
                  public IQvxNotificationsImpl,
                  public CProxyIQvxOrderingNotifications,
                  public CProxyIQvxDefaultOrderingNotifications,
                  public CProxyIQvxGroupedOrderingNotifications
{
public:
    COrdering() noexcept
        : Points{static_cast<CProxyIQvxOrderingNotifications*>(this),
                 static_cast<CProxyIQvxDefaultOrderingNotifications*>(this),
                 static_cast<CProxyIQvxGroupedOrderingNotifications*>(this)}
    {
    }

    // One IUnknown for all the interfaces, which the COM object gives.
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override = 0;
    STDMETHODIMP_(ULONG) AddRef() override = 0;
    STDMETHODIMP_(ULONG) Release() override = 0;

    // The key of an item, its identity in the order.
    virtual const TKey& GetItemKey(TItem item) = 0;
    // True when `first` sorts before `second` in ascending order.
    virtual bool ItemLess(TItem first, TItem second) = 0;
    // A new item for the key; null when none can be made.
    virtual TItem CreateItem(const TKey& key) = 0;
    virtual void DestroyItem(TItem item) = 0;
    virtual void OnOrderChanged() = 0;
    virtual void OnDefaultModeChanged() = 0;
    virtual void OnGroupedModeChanged() = 0;
    // Rebuilds the grouped head; true when anything moved.
    virtual bool ApplyGroups() = 0;

protected:
    ~COrdering() = default;
    std::span<QvxNotificationPointLocator* const> NotificationPoints() override { return Points; }

private:
    QvxNotificationPointLocator* Points[3];
};

// The order of items keyed by name, told to a task of type TTask. The task offers:
//     CreateChannel(name)                     a new item, which the ordering owns (CChannelOrderingOf);
//     GetActiveChannel(), SetActiveChannel()  the active item, or null, which the ordering may change;
//     NotifyOrderChanged(activeToo)           the order changed, and the active item with it or not;
//     NotifyActiveChanged()                   the active item changed;
//     MarkModified(), FireActiveChanged()     passed on to the chart.
// A host may call in again from any notification that the ordering sends, or from a host call
// that it makes: no position is held over such a call. SetNames and SyncToNames are the chart's
// own calls: an allocation failure leaves them by std::bad_alloc, with the list whole.
template <class TTask, class TItem>
class C1DOrdering : public COrdering<CBstr, TItem>
{
public:
    // The task goes: the ordering deletes its items, telling nobody, and forgets the task and
    // the groups. A host that still holds the ordering keeps an empty list.
    void Close()
    {
        DeleteItems();
        Task = nullptr;
        Groups = nullptr;
    }

    void SetTask(TTask* task) noexcept { Task = task; }
    const std::vector<TItem>& GetItems() const noexcept { return Items; }

    // The position of the item whose key equals `key` code unit by code unit, or 0.
    long IndexOf(std::wstring_view key)
    {
        for (size_t i = 0; i < Items.size(); ++i) {
            if (this->GetItemKey(Items[i]).View() == key) return long(i + 1);
        }
        return 0;
    }

    // Moves the item of `key` to `position`. E_INVALIDARG for an unknown key or a position
    // outside the list; without `force`, E_ACCESSDENIED for a move out of, into or within the
    // grouped head; S_FALSE when the item stands there already.
    HRESULT MoveItem(std::wstring_view key, long position, bool force, bool notify)
    {
        const long old = IndexOf(key);
        if (old == 0 || position < 1 || position > long(Items.size())) return E_INVALIDARG;
        if (!force && (old <= GroupedCount || position <= GroupedCount)) return E_ACCESSDENIED;
        if (old == position) return S_FALSE;
        const auto at = [&](long p) { return Items.begin() + (p - 1); };
        if (old < position) std::rotate(at(old), at(old + 1), at(position + 1));
        else std::rotate(at(position), at(old), at(old + 1));
        if (notify) OnOrderChanged();
        return S_OK;
    }

    // Makes the items the same set as `names`, keeping what can be kept: a newcomer goes to the
    // first place in the tail where it sorts, and becomes the active item.
    void SyncToNames(const std::vector<CBstr>& wanted)
    {
        const std::vector<CBstr> names = wanted;
        const auto listed = [&](TItem item) {
            const std::wstring_view key = this->GetItemKey(item).View();
            return std::any_of(names.begin(), names.end(), [&](const CBstr& name) { return name.View() == key; });
        };
        bool changed = false;
        for (;;) {
            const auto gone = std::find_if(Items.begin(), Items.end(), [&](TItem item) { return !listed(item); });
            if (gone == Items.end()) break;
            changed = true;
            TItem item = *gone;
            if (Task && Task->GetActiveChannel() == item) {
                const size_t index = size_t(gone - Items.begin());
                Task->SetActiveChannel(index + 1 < Items.size() ? Items[index + 1]
                                       : index > 0             ? Items[index - 1]
                                                               : nullptr);
                TellActiveChanged();
            }
            const auto position = std::find(Items.begin(), Items.end(), item);
            if (position == Items.end()) continue;
            if (position - Items.begin() < GroupedCount) --GroupedCount;
            Items.erase(position);
            this->DestroyItem(item);
        }
        for (const CBstr& name : names) {
            if (IndexOf(name.View()) != 0) continue;
            Items.reserve(Items.size() + 1);
            TItem item = this->CreateItem(name);
            if (!item) continue;
            changed = true;
            size_t at = std::min(size_t(GroupedCount), Items.size());
            while (at < Items.size() && !SortsBefore(item, Items[at])) ++at;
            Items.insert(Items.begin() + std::min(at, Items.size()), item);
            MakeActive(item);
        }
        GroupedCount = 0;
        if (Groups && ApplyGroups()) changed = true;
        if (changed) OnOrderChanged();
    }

    // --- IQvxOrdering ---
    STDMETHODIMP GetCount(long* count) override
    {
        if (!count) return E_POINTER;
        *count = long(Items.size());
        return S_OK;
    }
    STDMETHODIMP GetName(long index, BSTR* name) override
    {
        if (!name) return E_POINTER;
        *name = nullptr;
        if (index < 1 || size_t(index) > Items.size()) return E_UNEXPECTED;
        return this->GetItemKey(Items[index - 1]).CopyTo(name);
    }
    STDMETHODIMP MoveItem(BSTR name, long position) override
    {
        return MoveItem(std::wstring_view(name ? name : L"", SysStringLen(name)), position, false, true);
    }

    // --- IQvxDefaultOrdering: 0 ascending, 1 descending ---
    HRESULT GetDefaultMode(long* mode) override
    {
        if (!mode) return E_POINTER;
        *mode = DefaultMode;
        return S_OK;
    }
    // Sorts the tail by the mode, also when the mode stays (S_FALSE); the head keeps its order.
    HRESULT SetDefaultMode(long mode) override
    {
        if (mode < 0 || mode > 1) return E_INVALIDARG;
        HRESULT result = S_FALSE;
        if (mode != DefaultMode) {
            DefaultMode = mode;
            OnDefaultModeChanged();
            result = S_OK;
        }
        const auto tail = Items.begin() + std::min(size_t(GroupedCount), Items.size());
        try {
            std::stable_sort(tail, Items.end(), [this](TItem a, TItem b) { return SortsBefore(a, b); });
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
        OnOrderChanged();
        return result;
    }

    // --- IQvxGroupedOrdering: 0 the channels of groups form a head, 1 no head ---
    HRESULT GetGroupedMode(long* mode) override
    {
        if (!mode) return E_POINTER;
        *mode = GroupedMode;
        return S_OK;
    }
    HRESULT SetGroupedMode(long mode) override
    {
        if (mode == GroupedMode) return S_FALSE;
        if (mode == 0) {
            GroupedMode = 0;
            try {
                if (Groups && ApplyGroups()) OnOrderChanged();
            } catch (const std::bad_alloc&) {
                return E_OUTOFMEMORY;
            }
            OnGroupedModeChanged();
            return S_OK;
        }
        if (mode == 1) {
            GroupedCount = 0;
            GroupedMode = 1;
            OnGroupedModeChanged();
            return S_OK;
        }
        return E_INVALIDARG;
    }

    // --- C1DOrderingBase ---
    void SetGroups(CGroups* groups) override { Groups = groups; }
    long GetGroupedCount() override { return GroupedCount; }
    void SetNames(const std::vector<CBstr>& keys) override
    {
        const std::vector<CBstr> names = keys;
        if (!Items.empty()) {
            DeleteItems();
            OnOrderChanged();
        }
        for (const CBstr& key : names) {
            if (IndexOf(key.View()) != 0) continue;
            Items.reserve(Items.size() + 1);
            TItem item = this->CreateItem(key);
            if (!item) continue;
            Items.push_back(item);
            MakeActive(item);
        }
        if (Groups) ApplyGroups();
        OnOrderChanged();
    }

    // --- COrdering ---
    void OnOrderChanged() override
    {
        // An advisor may drop the last reference that a host held.
        CComPtr<IQvxOrdering> self(this);
        if (Task) {
            if (std::find(Items.begin(), Items.end(), Task->GetActiveChannel()) != Items.end()) {
                Task->NotifyOrderChanged(false);
                MarkModified();
            } else {
                Task->SetActiveChannel(nullptr);
                FireActiveChanged();
                if (Task) Task->NotifyOrderChanged(true);
                MarkModified();
            }
        }
        this->Fire_OnOrderingChanged(this);
    }
    void OnDefaultModeChanged() override
    {
        CComPtr<IQvxOrdering> self(this);
        this->Fire_OnDefaultOrderingChanged(this);
    }
    void OnGroupedModeChanged() override
    {
        CComPtr<IQvxOrdering> self(this);
        MarkModified();
        this->Fire_OnGroupedOrderingChanged(this);
    }
    // Walks the groups in their order and each group's members from 1, and moves each channel
    // that is on the chart to the end of the head. A member that is not on the chart, or that
    // an earlier group placed already, is skipped.
    bool ApplyGroups() override
    {
        GroupedCount = 0;
        CComPtr<IQvxGroups> groups(Groups);
        if (!groups) return false;
        bool changed = false;
        std::set<std::wstring, std::less<>> seen;
        long count = 0;
        for (long g = 1; SUCCEEDED(groups->GetCount(&count)) && g <= count; ++g) {
            CComPtr<IQvxGroup> group;
            long members = 0;
            if (FAILED(groups->GetItem(g, group.Out())) || !group || FAILED(group->GetMemberCount(&members))) continue;
            for (long m = 1; m <= members; ++m) {
                CBstr name;
                if (FAILED(group->GetMember(m, name.Out()))) continue;
                if (!seen.emplace(name.View()).second) continue;
                const HRESULT hr = MoveItem(name.View(), GroupedCount + 1, true, false);
                if (FAILED(hr)) continue;
                ++GroupedCount;
                if (hr == S_OK) changed = true;
            }
        }
        return changed;
    }

protected:
    ~C1DOrdering() = default;

    TTask* GetTask() const noexcept { return Task; }

    // Deletes every item, telling nobody.
    void DeleteItems()
    {
        std::vector<TItem> items = std::move(Items);
        Items.clear();
        GroupedCount = 0;
        for (TItem item : items) this->DestroyItem(item);
    }

private:
    // The sort rule of DefaultMode.
    bool SortsBefore(TItem first, TItem second)
    {
        return DefaultMode == 0 ? this->ItemLess(first, second) : this->ItemLess(second, first);
    }
    // A new item becomes the active one.
    void MakeActive(TItem item)
    {
        if (!Task) return;
        Task->SetActiveChannel(item);
        TellActiveChanged();
    }
    void TellActiveChanged()
    {
        if (Task) Task->NotifyActiveChanged();
        FireActiveChanged();
        MarkModified();
    }
    // The chart is reached through the task, which may be gone after a call that reached the host.
    void MarkModified()
    {
        if (Task) Task->MarkModified();
    }
    void FireActiveChanged()
    {
        if (Task) Task->FireActiveChanged();
    }

    std::vector<TItem> Items;
    CGroups* Groups = nullptr;
    long GroupedCount = 0;
    TTask* Task = nullptr;
    long DefaultMode = 0;
    long GroupedMode = 0;
};
