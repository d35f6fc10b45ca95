#pragma once
// The COM object base: reference counting, table-driven QueryInterface, aggregation,
// and the module's object and lock counts.
//
// A class derives from CComRoot and its interfaces, lists its interfaces in a static
// QueryInterface table, and is made only as CComObject<Class> (through CComObject::Create
// or a class factory). CComObject supplies the one IUnknown that all the interfaces share:
// its own count, or the outer object's when aggregated.
#include <windows.h>
#include <unknwn.h>
#include <atomic>
#include <memory>
#include <new>
#include <string>
#include "com/ComPtr.h"

// One row of a QueryInterface table: an interface id and how to reach it from the object.
struct CInterfaceEntry
{
    const IID* Iid;
    void* (*Cast)(void* self);
};

template <class Class, class Interface>
void* CastToInterface(void* self)
{
    return static_cast<Interface*>(static_cast<Class*>(self));
}

// Rows of a table, in the order QueryInterface tests them. The first row also answers IUnknown.
#define QVX_INTERFACE(Class, Interface) CInterfaceEntry{&__uuidof(Interface), &CastToInterface<Class, Interface>}
// A row for an interface reached through a base that lies on a different path.
#define QVX_INTERFACE_VIA(Class, Interface, Via) \
    CInterfaceEntry{&__uuidof(Interface), [](void* self) -> void* { \
        return static_cast<Interface*>(static_cast<Via*>(static_cast<Class*>(self))); }}

// Module-wide counts for DllCanUnloadNow.
class CComModule
{
public:
    static CComModule& Instance();

    HINSTANCE Handle() const noexcept { return Module; }
    void SetHandle(HINSTANCE module) noexcept { Module = module; }
    // The full path of this module, for registration and the embedded type library.
    std::wstring FileName() const;

    void AddObject() noexcept { ++Objects; }
    void RemoveObject() noexcept { --Objects; }
    void Lock() noexcept { ++Locks; }
    void Unlock() noexcept { --Locks; }
    LONG ObjectCount() const noexcept { return Objects; }
    LONG LockCount() const noexcept { return Locks; }
    HRESULT CanUnloadNow() const noexcept { return (Objects == 0 && Locks == 0) ? S_OK : S_FALSE; }

private:
    HINSTANCE Module = nullptr;
    std::atomic<LONG> Objects{0};
    std::atomic<LONG> Locks{0};
};

// State that every COM object of ours carries. The class's own operations use
// OuterUnknown()/ControllingUnknown() when they hand themselves out.
class CComRoot
{
public:
    CComRoot() noexcept { CComModule::Instance().AddObject(); }
    CComRoot(const CComRoot&) = delete;
    CComRoot& operator=(const CComRoot&) = delete;
    virtual ~CComRoot() { CComModule::Instance().RemoveObject(); }

    // Second-phase construction and last-release hooks.
    HRESULT FinalConstruct() { return S_OK; }
    void FinalRelease() {}

    // Whether this class may be made as the inner object of an aggregate.
    static constexpr bool Aggregatable = true;

    // The IUnknown that owns this object's identity: the outer one when aggregated.
    virtual IUnknown* ControllingUnknown() = 0;

protected:
    // Looks iid up in a table; the first row also answers IUnknown.
    static HRESULT TableQueryInterface(void* self, const CInterfaceEntry* table, size_t count,
                                       REFIID iid, void** out) noexcept;
};

template <class T>
class CComObject final : public T
{
public:
    // Makes an object, plain (outer null) or as the inner object of an aggregate.
    static HRESULT Create(IUnknown* outer, REFIID iid, void** out)
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (outer && (!T::Aggregatable || !IsEqualIID(iid, IID_IUnknown))) return CLASS_E_NOAGGREGATION;
        std::unique_ptr<CComObject> owner(new (std::nothrow) CComObject(outer));
        if (!owner) return E_OUTOFMEMORY;
        // Hold a reference across FinalConstruct, so that a QueryInterface/Release pair inside
        // it does not destroy the object.
        owner->Refs = 1;
        HRESULT hr = owner->FinalConstruct();
        if (FAILED(hr)) {
            // The count stays at 1, as in Release, so that a keep-alive pair inside the last
            // release does not free the object a second time.
            owner->FinalRelease();
            return hr;
        }
        CComObject* object = owner.release();
        hr = object->Inner.QueryInterface(iid, out);
        object->Inner.Release();
        return hr;
    }

    // Makes a plain object and returns it with one reference held by `out`.
    template <class I>
    static HRESULT CreateInstance(CComPtr<I>& out)
    {
        return Create(nullptr, __uuidof(I), reinterpret_cast<void**>(out.Out()));
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override
    {
        return Outer ? Outer->QueryInterface(iid, out) : Inner.QueryInterface(iid, out);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return Outer ? Outer->AddRef() : Inner.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return Outer ? Outer->Release() : Inner.Release(); }

    // The same pointer that QueryInterface gives for IUnknown, so identities compare by pointer.
    IUnknown* ControllingUnknown() override { return Outer ? Outer : this->TableIdentity(); }

    ~CComObject() override = default;

private:
    explicit CComObject(IUnknown* outer) : Inner(this), Outer(outer) {}

    // The non-delegating unknown: the object's own count, and the IUnknown an aggregator keeps.
    class CInnerUnknown final : public IUnknown
    {
    public:
        explicit CInnerUnknown(CComObject* owner) : Owner(owner) {}
        STDMETHODIMP QueryInterface(REFIID iid, void** out) override
        {
            if (!out) return E_POINTER;
            if (Owner->Outer && IsEqualIID(iid, IID_IUnknown)) {
                *out = static_cast<IUnknown*>(this);
                AddRef();
                return S_OK;
            }
            return Owner->InternalQueryInterface(iid, out);
        }
        STDMETHODIMP_(ULONG) AddRef() override { return ++Owner->Refs; }
        STDMETHODIMP_(ULONG) Release() override
        {
            ULONG n = --Owner->Refs;
            if (n == 0) {
                // Guard against re-entry from FinalRelease.
                Owner->Refs = 1;
                Owner->FinalRelease();
                delete Owner;
            }
            return n;
        }

    private:
        CComObject* Owner;
    };

    CInnerUnknown Inner;
    IUnknown* Outer;
    std::atomic<ULONG> Refs{0};
};

// Declares a class's QueryInterface table: QVX_BEGIN_INTERFACES(Class) rows... QVX_END_INTERFACES()
#define QVX_BEGIN_INTERFACES(Class) \
    using InterfaceTableClass = Class; \
    static const CInterfaceEntry* InterfaceTable(size_t& count) \
    { \
        static const CInterfaceEntry table[] = {
#define QVX_END_INTERFACES() \
        }; \
        count = sizeof(table) / sizeof(table[0]); \
        return table; \
    } \
    HRESULT InternalQueryInterface(REFIID iid, void** out) \
    { \
        size_t count = 0; \
        const CInterfaceEntry* table = InterfaceTable(count); \
        return TableQueryInterface(static_cast<InterfaceTableClass*>(this), table, count, iid, out); \
    } \
    /* The object's identity when it is not aggregated: what QueryInterface gives for IUnknown. */ \
    IUnknown* TableIdentity() \
    { \
        size_t count = 0; \
        const CInterfaceEntry* table = InterfaceTable(count); \
        return static_cast<IUnknown*>(table[0].Cast(static_cast<InterfaceTableClass*>(this))); \
    }
