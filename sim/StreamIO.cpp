#include "sim/StreamIO.h"

namespace {

// Longest string the substitute accepts from a stream, against damaged data.
constexpr ULONG MaximumStringLength = 1 << 20;

} // namespace

HRESULT WriteBytes(IStream* stream, const void* data, ULONG size)
{
    if (!stream) return E_POINTER;
    ULONG written = 0;
    HRESULT hr = stream->Write(data, size, &written);
    if (FAILED(hr)) return hr;
    return written == size ? S_OK : STG_E_MEDIUMFULL;
}

HRESULT ReadBytes(IStream* stream, void* data, ULONG size)
{
    if (!stream) return E_POINTER;
    ULONG read = 0;
    HRESULT hr = stream->Read(data, size, &read);
    if (FAILED(hr)) return hr;
    return read == size ? S_OK : E_FAIL;
}

HRESULT WriteString(IStream* stream, std::wstring_view text)
{
    HRESULT hr = WriteValue(stream, ULONG(text.size()));
    if (SUCCEEDED(hr) && !text.empty()) hr = WriteBytes(stream, text.data(), ULONG(text.size() * sizeof(wchar_t)));
    return hr;
}

HRESULT ReadString(IStream* stream, std::wstring& text)
{
    ULONG length = 0;
    HRESULT hr = ReadValue(stream, length);
    if (FAILED(hr)) return hr;
    if (length > MaximumStringLength) return E_FAIL;
    text.assign(length, L'\0');
    return length ? ReadBytes(stream, text.data(), ULONG(length * sizeof(wchar_t))) : S_OK;
}

HRESULT WriteVariant(IStream* stream, const VARIANT& value)
{
    VARTYPE type = value.vt;
    switch (type) {
    case VT_EMPTY:
    case VT_NULL:
        return WriteValue(stream, type);
    case VT_I2: case VT_UI2: case VT_BOOL:
    case VT_I4: case VT_UI4: case VT_INT: case VT_UINT: case VT_ERROR:
    case VT_I8: case VT_UI8:
    case VT_R4: case VT_R8: case VT_DATE: case VT_CY:
    case VT_I1: case VT_UI1: {
        HRESULT hr = WriteValue(stream, type);
        if (SUCCEEDED(hr)) hr = WriteValue(stream, value.llVal);
        return hr;
    }
    case VT_BSTR: {
        HRESULT hr = WriteValue(stream, type);
        if (SUCCEEDED(hr)) hr = WriteString(stream, std::wstring_view(value.bstrVal ? value.bstrVal : L"", SysStringLen(value.bstrVal)));
        return hr;
    }
    default: {
        CVariant text;
        HRESULT hr = VariantChangeType(&text, const_cast<VARIANT*>(&value), 0, VT_BSTR);
        if (FAILED(hr)) return hr;
        return WriteVariant(stream, text);
    }
    }
}

HRESULT ReadVariant(IStream* stream, CVariant& value)
{
    value.Clear();
    VARTYPE type = VT_EMPTY;
    HRESULT hr = ReadValue(stream, type);
    if (FAILED(hr)) return hr;
    switch (type) {
    case VT_EMPTY:
    case VT_NULL:
        value.vt = type;
        return S_OK;
    case VT_I2: case VT_UI2: case VT_BOOL:
    case VT_I4: case VT_UI4: case VT_INT: case VT_UINT: case VT_ERROR:
    case VT_I8: case VT_UI8:
    case VT_R4: case VT_R8: case VT_DATE: case VT_CY:
    case VT_I1: case VT_UI1: {
        LONGLONG bits = 0;
        hr = ReadValue(stream, bits);
        if (FAILED(hr)) return hr;
        value.llVal = bits;
        value.vt = type;
        return S_OK;
    }
    case VT_BSTR: {
        std::wstring text;
        hr = ReadString(stream, text);
        if (FAILED(hr)) return hr;
        value.bstrVal = SysAllocStringLen(text.data(), UINT(text.size()));
        if (!value.bstrVal) return E_OUTOFMEMORY;
        value.vt = VT_BSTR;
        return S_OK;
    }
    default:
        return E_FAIL;
    }
}
