#pragma once
// OLE connection points: the outgoing interfaces of an object, each with its list of sinks.
//
// A CConnectionPoint lives inside the object that fires it and shares that object's reference
// count. The object derives from CConnectionPointContainerImpl and names its points.
#include <windows.h>
#include <ocidl.h>
#include <olectl.h>
#include <span>
#include <vector>
#include "com/ComObject.h"

class CConnectionPoint final : public IConnectionPoint
{
public:
    CConnectionPoint(IConnectionPointContainer& container, const IID& iid) : Container(container), Iid(iid) {}
    CConnectionPoint(const CConnectionPoint&) = delete;
    CConnectionPoint& operator=(const CConnectionPoint&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
    STDMETHODIMP_(ULONG) AddRef() override { return Container.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return Container.Release(); }

    STDMETHODIMP GetConnectionInterface(IID* iid) override;
    STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** out) override;
    STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override;
    STDMETHODIMP Unadvise(DWORD cookie) override;
    STDMETHODIMP EnumConnections(IEnumConnections** out) override;

    const IID& Interface() const noexcept { return Iid; }
    bool IsConnected(DWORD cookie) const noexcept;
    size_t Count() const noexcept { return Connections.size(); }

    // Calls `call(Sink*)` for each sink connected when the walk starts and still connected when
    // its turn comes, so that a sink may unadvise itself or others from inside the call. The
    // walk stops when `call` answers false; the result says whether it ran to the end.
    template <class Sink, class Call>
    bool ForEachSink(Call&& call)
    {
        std::vector<CConnection> snapshot;
        if (!TakeSnapshot(snapshot)) return false;
        for (const CConnection& connection : snapshot) {
            if (!IsConnected(connection.Cookie)) continue;
            if (!call(static_cast<Sink*>(connection.Sink.Get()))) return false;
        }
        return true;
    }

private:
    struct CConnection
    {
        DWORD Cookie;
        CComPtr<IUnknown> Sink;   // the sink as the point's interface
    };

    // Copies the list of connections, holding each sink; false if there is no memory for it.
    bool TakeSnapshot(std::vector<CConnection>& snapshot) const noexcept;

    IConnectionPointContainer& Container;
    IID Iid;
    std::vector<CConnection> Connections;
    DWORD NextCookie = 1;
};

class CConnectionPointContainerImpl : public IConnectionPointContainer
{
public:
    STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** out) override;
    STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** out) override;

protected:
    virtual std::span<CConnectionPoint* const> ConnectionPoints() = 0;
};
