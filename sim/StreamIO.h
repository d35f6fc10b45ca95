#pragma once
// Reading and writing the substitute's persisted state: little-endian values, counted strings
// and the variant types that property sets hold.
#include <windows.h>
#include <objidl.h>
#include <string>
#include <string_view>
#include "com/AutomationTypes.h"

HRESULT WriteBytes(IStream* stream, const void* data, ULONG size);
// A short read is a failure.
HRESULT ReadBytes(IStream* stream, void* data, ULONG size);

template <class T>
HRESULT WriteValue(IStream* stream, const T& value)
{
    return WriteBytes(stream, &value, sizeof(T));
}

template <class T>
HRESULT ReadValue(IStream* stream, T& value)
{
    return ReadBytes(stream, &value, sizeof(T));
}

HRESULT WriteString(IStream* stream, std::wstring_view text);
HRESULT ReadString(IStream* stream, std::wstring& text);

// Empty, null, integers, reals, booleans, strings and dates; anything else is stored as its
// text.
HRESULT WriteVariant(IStream* stream, const VARIANT& value);
HRESULT ReadVariant(IStream* stream, CVariant& value);
