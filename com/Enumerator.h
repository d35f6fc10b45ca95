#pragma once
// A COM enumerator (IEnumConnections, IEnumConnectionPoints ...) over a fixed list taken when it
// was made. Clones share the list and keep their own position.
#include <memory>
#include <new>
#include <vector>
#include "com/ComObject.h"

// HandOut gives the caller its own copy of an element (with a reference added where the element
// holds an interface).
template <class IEnum, class Element, class Stored, Element (*HandOut)(const Stored&)>
class CEnumerator : public CComRoot, public IEnum
{
public:
    using Items = std::vector<Stored>;

    QVX_BEGIN_INTERFACES(CEnumerator)
        QVX_INTERFACE(CEnumerator, IEnum),
    QVX_END_INTERFACES()

    static HRESULT Make(std::shared_ptr<const Items> items, size_t position, IEnum** out)
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        CComPtr<IEnum> made;
        HRESULT hr = CComObject<CEnumerator>::Create(nullptr, __uuidof(IEnum), made.OutVoid());
        if (FAILED(hr)) return hr;
        CEnumerator* self = static_cast<CEnumerator*>(made.Get());
        self->List = std::move(items);
        self->Position = position;
        *out = made.Detach();
        return S_OK;
    }

    STDMETHODIMP Next(ULONG count, Element* out, ULONG* fetched) override
    {
        if (fetched) *fetched = 0;
        if (!out || (count > 1 && !fetched)) return E_POINTER;
        ULONG n = 0;
        while (n < count && Position < List->size()) out[n++] = HandOut((*List)[Position++]);
        if (fetched) *fetched = n;
        return n == count ? S_OK : S_FALSE;
    }
    STDMETHODIMP Skip(ULONG count) override
    {
        size_t left = List->size() - Position;
        if (count > left) {
            Position = List->size();
            return S_FALSE;
        }
        Position += count;
        return S_OK;
    }
    STDMETHODIMP Reset() override
    {
        Position = 0;
        return S_OK;
    }
    STDMETHODIMP Clone(IEnum** out) override { return Make(List, Position, out); }

private:
    std::shared_ptr<const Items> List;
    size_t Position = 0;
};

// Makes an enumerator over a copy of `items`.
template <class Enumerator>
HRESULT MakeEnumerator(typename Enumerator::Items items, auto** out)
{
    std::shared_ptr<const typename Enumerator::Items> list;
    try {
        list = std::make_shared<const typename Enumerator::Items>(std::move(items));
    } catch (const std::bad_alloc&) {
        if (out) *out = nullptr;
        return E_OUTOFMEMORY;
    }
    return Enumerator::Make(std::move(list), 0, out);
}
