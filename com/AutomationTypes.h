#pragma once
// Owners of the automation types: BSTR, VARIANT and a SAFEARRAY's data lock.
#include <windows.h>
#include <oleauto.h>
#include <string_view>
#include <utility>

class CBstr
{
public:
    CBstr() noexcept = default;
    explicit CBstr(const wchar_t* s) : B(s ? SysAllocString(s) : nullptr) {}
    explicit CBstr(std::wstring_view s) : B(SysAllocStringLen(s.data(), UINT(s.size()))) {}
    CBstr(const CBstr& other) : B(other.B ? SysAllocStringLen(other.B, other.Length()) : nullptr) {}
    CBstr(CBstr&& other) noexcept : B(std::exchange(other.B, nullptr)) {}
    ~CBstr() { SysFreeString(B); }
    CBstr& operator=(CBstr other) noexcept { std::swap(B, other.B); return *this; }

    static CBstr Adopt(BSTR b) noexcept { CBstr r; r.B = b; return r; }
    BSTR Get() const noexcept { return B; }
    const wchar_t* c_str() const noexcept { return B ? B : L""; }
    UINT Length() const noexcept { return SysStringLen(B); }
    std::wstring_view View() const noexcept { return {c_str(), Length()}; }
    BSTR* Out() noexcept { SysFreeString(std::exchange(B, nullptr)); return &B; }
    BSTR Detach() noexcept { return std::exchange(B, nullptr); }
    // A fresh copy for an [out] BSTR.
    HRESULT CopyTo(BSTR* out) const noexcept
    {
        if (!out) return E_POINTER;
        *out = B ? SysAllocStringLen(B, Length()) : nullptr;
        return (B && !*out) ? E_OUTOFMEMORY : S_OK;
    }

private:
    BSTR B = nullptr;
};

class CVariant : public VARIANT
{
public:
    CVariant() noexcept { VariantInit(this); }
    CVariant(const CVariant& other) { VariantInit(this); VariantCopy(this, Source(other)); }
    CVariant& operator=(const CVariant& other)
    {
        if (this != &other) VariantCopy(this, Source(other));
        return *this;
    }
    ~CVariant() { VariantClear(this); }
    void Clear() noexcept { VariantClear(this); }
    VARIANT* Out() noexcept { VariantClear(this); return this; }

private:
    // VariantCopy only reads its source, but is declared without const.
    static VARIANT* Source(const CVariant& other) { return const_cast<CVariant*>(&other); }
};

// Locks a SAFEARRAY's data for the life of the object. Only a one-dimensional array whose
// elements have the size of T is taken; any other is not Valid.
template <class T>
class CSafeArrayAccess
{
public:
    explicit CSafeArrayAccess(SAFEARRAY* array) noexcept : Array(array)
    {
        if (Array && SafeArrayGetDim(Array) == 1 && SafeArrayGetElemsize(Array) == sizeof(T)
            && SUCCEEDED(SafeArrayAccessData(Array, reinterpret_cast<void**>(&Data)))) {
            LONG lower = 0, upper = -1;
            SafeArrayGetLBound(Array, 1, &lower);
            SafeArrayGetUBound(Array, 1, &upper);
            Count = upper >= lower ? ULONG(upper - lower + 1) : 0;
        } else {
            Array = nullptr;
            Data = nullptr;
        }
    }
    CSafeArrayAccess(const CSafeArrayAccess&) = delete;
    CSafeArrayAccess& operator=(const CSafeArrayAccess&) = delete;
    ~CSafeArrayAccess() { if (Array) SafeArrayUnaccessData(Array); }

    bool Valid() const noexcept { return Array != nullptr; }
    T* Get() const noexcept { return Data; }
    ULONG Size() const noexcept { return Count; }
    T& operator[](ULONG i) const noexcept { return Data[i]; }

private:
    SAFEARRAY* Array;
    T* Data = nullptr;
    ULONG Count = 0;
};

// Destroys a SAFEARRAY that the caller owns.
class CSafeArray
{
public:
    CSafeArray() noexcept = default;
    explicit CSafeArray(SAFEARRAY* a) noexcept : A(a) {}
    CSafeArray(CSafeArray&& other) noexcept : A(std::exchange(other.A, nullptr)) {}
    CSafeArray& operator=(CSafeArray&& other) noexcept { std::swap(A, other.A); return *this; }
    ~CSafeArray() { if (A) SafeArrayDestroy(A); }
    SAFEARRAY* Get() const noexcept { return A; }
    SAFEARRAY** Out() noexcept { if (A) SafeArrayDestroy(std::exchange(A, nullptr)); return &A; }
    SAFEARRAY* Detach() noexcept { return std::exchange(A, nullptr); }

private:
    SAFEARRAY* A = nullptr;
};
