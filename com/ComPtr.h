#pragma once
// Counted COM pointer: the one way the control holds an interface.
#include <windows.h>
#include <unknwn.h>
#include <utility>

template <class T>
class CComPtr
{
public:
    CComPtr() noexcept = default;
    CComPtr(std::nullptr_t) noexcept {}
    CComPtr(T* p) noexcept : P(p) { if (P) P->AddRef(); }
    CComPtr(const CComPtr& other) noexcept : CComPtr(other.P) {}
    CComPtr(CComPtr&& other) noexcept : P(std::exchange(other.P, nullptr)) {}
    ~CComPtr() { Release(); }

    CComPtr& operator=(const CComPtr& other) noexcept { Assign(other.P); return *this; }
    CComPtr& operator=(CComPtr&& other) noexcept
    {
        if (this != &other) { Release(); P = std::exchange(other.P, nullptr); }
        return *this;
    }
    CComPtr& operator=(T* p) noexcept { Assign(p); return *this; }
    CComPtr& operator=(std::nullptr_t) noexcept { Release(); return *this; }

    // Takes a reference that the caller already owns.
    static CComPtr Adopt(T* p) noexcept { CComPtr r; r.P = p; return r; }

    T* Get() const noexcept { return P; }
    T* operator->() const noexcept { return P; }
    T& operator*() const noexcept { return *P; }
    operator T*() const noexcept { return P; }
    explicit operator bool() const noexcept { return P != nullptr; }

    // For out-parameters: drops the present reference first.
    T** Out() noexcept { Release(); return &P; }
    void** OutVoid() noexcept { return reinterpret_cast<void**>(Out()); }

    void Release() noexcept
    {
        if (T* p = std::exchange(P, nullptr)) p->Release();
    }
    T* Detach() noexcept { return std::exchange(P, nullptr); }
    // Hands out a reference: for [out] parameters.
    HRESULT CopyTo(T** out) const noexcept
    {
        if (!out) return E_POINTER;
        *out = P;
        if (P) P->AddRef();
        return S_OK;
    }

    template <class Q>
    HRESULT As(CComPtr<Q>& out) const noexcept
    {
        if (!P) { out = nullptr; return E_NOINTERFACE; }
        return P->QueryInterface(__uuidof(Q), reinterpret_cast<void**>(out.Out()));
    }
    HRESULT QueryFrom(IUnknown* from, REFIID iid) noexcept
    {
        Release();
        if (!from) return E_POINTER;
        return from->QueryInterface(iid, reinterpret_cast<void**>(&P));
    }

private:
    void Assign(T* p) noexcept
    {
        if (p) p->AddRef();
        T* old = std::exchange(P, p);
        if (old) old->Release();
    }
    T* P = nullptr;
};

// Identity test through IUnknown, as COM requires.
inline bool SameObject(IUnknown* a, IUnknown* b)
{
    if (a == b) return true;
    if (!a || !b) return false;
    CComPtr<IUnknown> ua, ub;
    a->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(ua.Out()));
    b->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(ub.Out()));
    return ua && ua.Get() == ub.Get();
}
