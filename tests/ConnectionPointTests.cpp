// The generic connection points: advising, cookies, enumeration, and firing while sinks leave.
#include <gtest/gtest.h>
#include <ocidl.h>
#include "com/ConnectionPoints.h"
#include "tests/OleTestSupport.h"

using qvxtest::CPropertySink;

namespace {

// An object with two outgoing interfaces.
class CSource : public CComRoot, public CConnectionPointContainerImpl
{
public:
    QVX_BEGIN_INTERFACES(CSource)
        QVX_INTERFACE(CSource, IConnectionPointContainer),
    QVX_END_INTERFACES()

    CConnectionPoint Notify{*this, IID_IPropertyNotifySink};
    CConnectionPoint Advise{*this, IID_IAdviseSink};

    // Tells every property sink, or asks each until one refuses.
    bool Fire(DISPID id, bool ask = false)
    {
        return Notify.ForEachSink<IPropertyNotifySink>([id, ask](IPropertyNotifySink* sink) {
            if (ask) return sink->OnRequestEdit(id) == S_OK;
            sink->OnChanged(id);
            return true;
        });
    }

protected:
    std::span<CConnectionPoint* const> ConnectionPoints() override { return Points; }

private:
    CConnectionPoint* const Points[2] = {&Notify, &Advise};
};

class ConnectionPoints : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(S_OK, CComObject<CSource>::CreateInstance(Container));
        Source = static_cast<CSource*>(Container.Get());
        ASSERT_EQ(S_OK, Container->FindConnectionPoint(IID_IPropertyNotifySink, Point.Out()));
    }
    DWORD Advise(CPropertySink& sink)
    {
        DWORD cookie = 0;
        EXPECT_EQ(S_OK, Point->Advise(&sink, &cookie));
        return cookie;
    }

    // The sinks outlive the source, which may still hold them at the end.
    CPropertySink A, B, C, D;
    CComPtr<IConnectionPointContainer> Container;
    CSource* Source = nullptr;
    CComPtr<IConnectionPoint> Point;
};

// Cookies are distinct and never zero, and a sink may connect twice; sinks of another interface
// and null arguments are refused. The points come in order and keep their container alive.
TEST_F(ConnectionPoints, AdviseGivesDistinctCookiesAndThePointsKeepTheirContainer)
{
    const DWORD first = Advise(A), second = Advise(B);
    EXPECT_TRUE(first != 0 && first != second && A.Refs == 1);
    ASSERT_EQ(S_OK, Point->Unadvise(first));
    EXPECT_EQ(0u, A.Refs);
    EXPECT_EQ(CONNECT_E_NOCONNECTION, Point->Unadvise(first));
    const DWORD again = Advise(B);
    EXPECT_TRUE(Source->Fire(1));
    EXPECT_EQ(2u, B.Changes.size());
    Point->Unadvise(second);
    Point->Unadvise(again);
    EXPECT_EQ(0u, B.Refs);
    CComPtr<IConnectionPoint> advise, none;
    ASSERT_EQ(S_OK, Container->FindConnectionPoint(IID_IAdviseSink, advise.Out()));
    DWORD cookie = 7;
    EXPECT_EQ(CONNECT_E_CANNOTCONNECT, advise->Advise(&A, &cookie));
    EXPECT_TRUE(cookie == 0 && A.Refs == 0);
    EXPECT_EQ(E_POINTER, Point->Advise(&A, nullptr));
    EXPECT_EQ(CONNECT_E_NOCONNECTION, Container->FindConnectionPoint(IID_IDispatch, none.Out()));
    advise = nullptr;
    CComPtr<IEnumConnectionPoints> points;
    ASSERT_EQ(S_OK, Container->EnumConnectionPoints(points.Out()));
    IConnectionPoint* found[3] = {};
    ULONG fetched = 0;
    ASSERT_EQ(S_FALSE, points->Next(3, found, &fetched));
    ASSERT_EQ(2u, fetched);
    IID last{};
    found[1]->GetConnectionInterface(&last);
    EXPECT_TRUE(IsEqualIID(IID_IAdviseSink, last));
    found[0]->Release();
    found[1]->Release();
    points = nullptr;
    CComPtr<IConnectionPointContainer> back;
    ASSERT_EQ(S_OK, Point->GetConnectionPointContainer(back.Out()));
    EXPECT_EQ(Container.Get(), back.Get());
    back = nullptr;
    Advise(A);
    const LONG objects = CComModule::Instance().ObjectCount();
    Container = nullptr;
    EXPECT_EQ(objects, CComModule::Instance().ObjectCount());
    // The last reference goes with the point, and the sinks with the source.
    Point = nullptr;
    EXPECT_EQ(objects - 1, CComModule::Instance().ObjectCount());
    EXPECT_EQ(0u, A.Refs);
}

// An enumerator lists the connections as they were when it was made, and a clone keeps its place;
// both let go of what they held.
TEST_F(ConnectionPoints, EnumeratesConnectionsAsTheyWere)
{
    const DWORD cookies[] = {Advise(A), Advise(B)};
    CComPtr<IEnumConnections> list, copy;
    ASSERT_EQ(S_OK, Point->EnumConnections(list.Out()));
    Advise(C);
    CONNECTDATA data[3] = {};
    ULONG fetched = 0;
    const auto next = [&](IEnumConnections* from, ULONG count, HRESULT result, DWORD cookie, IUnknown* sink) {
        EXPECT_EQ(result, from->Next(count, data, &fetched));
        ASSERT_EQ(1u, fetched);
        EXPECT_TRUE(cookie == data[0].dwCookie && sink == data[0].pUnk) << cookie;
        data[0].pUnk->Release();
    };
    next(list, 1, S_OK, cookies[0], &A);
    ASSERT_EQ(S_OK, list->Clone(copy.Out()));
    next(list, 3, S_FALSE, cookies[1], &B);
    next(copy, 1, S_OK, cookies[1], &B);
    EXPECT_EQ(E_POINTER, list->Next(2, data, nullptr));
    list = copy = nullptr;
    EXPECT_TRUE(A.Refs == 1 && B.Refs == 1);
}

// A sink that leaves, drops the next one and brings in a new one in its call: the walk goes on
// with those still connected. A walk stops when a call says so.
TEST_F(ConnectionPoints, FiringSurvivesSinksLeavingDuringTheWalkAndStopsWhenACallSaysSo)
{
    const DWORD first = Advise(A), second = Advise(B);
    Advise(C);
    A.OnChange = [&](DISPID) {
        Point->Unadvise(first);
        Point->Unadvise(second);
        Advise(D);
    };
    EXPECT_TRUE(Source->Fire(3));
    EXPECT_TRUE(A.Changes.size() == 1 && B.Changes.empty() && C.Changes.size() == 1 && D.Changes.empty());
    EXPECT_EQ(0u, A.Refs + B.Refs);
    EXPECT_EQ(2u, Source->Notify.Count());
    A.OnChange = nullptr;
    EXPECT_TRUE(Source->Fire(4));
    EXPECT_EQ(1u, D.Changes.size());
    C.EditAnswer = S_FALSE;
    EXPECT_FALSE(Source->Fire(1, true));
    EXPECT_TRUE(C.EditRequests.size() == 1 && D.EditRequests.empty());
}

} // namespace
