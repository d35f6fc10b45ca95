#pragma once
// Channel names with a key: "[12]Speed" is the channel "Speed" of quantity 12. Two channels may
// share a text and differ in their key; the host's unit converter turns a key's id into a text,
// which orders them. Names without a key order by their text alone.
#include <windows.h>
#include <set>
#include <string>
#include "com/AutomationTypes.h"
#include "com/ComPtr.h"
#include "Interfaces.h"

class CChannelKey
{
public:
    // Parses `name`; a null name gives a null FullName and no key. Throws std::bad_alloc when a
    // copy cannot be made.
    explicit CChannelKey(const wchar_t* name);
    CChannelKey(const wchar_t* name, UINT length);
    virtual ~CChannelKey() = default;

    bool IsKeyed() const noexcept { return Keyed != 0; }
    const CBstr& GetFullName() const noexcept { return FullName; }
    // The text behind the first "]"; null without a key.
    const CBstr& GetRest() const noexcept { return Rest; }
    long GetId() const noexcept { return Id; }
    // What the name is compared by: the rest of a keyed name, the whole of any other.
    const wchar_t* GetText() const noexcept { return Keyed ? Rest.c_str() : FullName.c_str(); }

private:
    BYTE Keyed = 0;
    CBstr FullName;
    CBstr Rest;
    long Id = 0;
};

// The order in which a load sorts named channels: unkeyed names are all equal and stand before
// keyed ones; keyed ones by rest (ordinal), then by the texts of their ids as a new unit
// converter gives them. Negative, 0 or positive.
int CompareKeysOrdinal(const CChannelKey& a, const CChannelKey& b);

// The order of the channels that a chart shows: by text in the user's locale; equal texts with
// different ids by the ids' texts, a known id before an unknown one, unknown ids by value. Names
// that still tie stand unkeyed first and then by code units, so that two different names never
// compare equal. The converter is made when the comparator is; without one no id is known.
class ChannelNameLess
{
public:
    ChannelNameLess();
    explicit ChannelNameLess(IQvxUnitConverter* converter) : Converter(converter) {}

    bool operator()(const std::wstring& a, const std::wstring& b) const;
    // Three-way form of the same order.
    int Compare(const CChannelKey& a, const CChannelKey& b) const;

private:
    CComPtr<IQvxUnitConverter> Converter;
};

using CChannelNameSet = std::set<std::wstring, ChannelNameLess>;
