#pragma once
// A channel on the chart, by name, across all data selections: a lazy cache of the channel's
// named properties in this chart's property set. Only the channel ordering creates and deletes
// channels, through the task.
//
// What is here: the property set and its sink, the name, "Quantity" (read once), "Display name"
// (the ordering sorts by it), and the change bits that a property notification raises. The other
// cached properties, the traces and the scale come with their readers.
#include <windows.h>
#include <cstdint>
#include "AutomationTypes.h"
#include "ComPtr.h"
#include "DataItemBase.h"
#include "Interfaces.h"
#include "PropertySetNotifications.h"

class CTaskDataItem;

class CChannelDataItem : public CDataItemBase, public CPropertySetNotifications2Receiver
{
public:
    // Takes this chart's property set of the channel from `factory`, advises on it, and reads
    // "Quantity". Without a factory or a set the channel is local: it keeps its defaults, and
    // whether the host knows the channel shows later.
    CChannelDataItem(CTaskDataItem* task, const CBstr& name, IQvxPropertyFactory* factory);
    ~CChannelDataItem() override;

    const CBstr& GetName() const noexcept { return Name; }
    int32_t GetQuantity() const noexcept { return Quantity; }
    // "Display name"; empty when the host has none.
    const CBstr& GetDisplayName();

    // The change bits that a notification of the property `name` raises: all but
    // ChannelTracesStale for a null name, none for a name that this item does not read.
    static DWORD ChangeBitsOf(BSTR name);

    // --- CPropertySetNotificationsReceiver ---
    void OnPropertyChanged(IQvxPropertySet* source, BSTR name) override;

private:
    using CPropertySink = CPropertySetNotifications2Sink<CBaseSingleSourceSink<IQvxPropertySetNotifications2>>;

    CComPtr<IQvxPropertySet> Properties;
    CComPtr<CPropertySink> PropertySink;
    CBstr Name;
    CBstr DisplayName;
    int32_t Quantity = 0;
    CTaskDataItem* Task;
};

// The channel of a real-time chart.
class CRTCChannelDataItem : public CChannelDataItem
{
public:
    using CChannelDataItem::CChannelDataItem;
};
