// The generic connection points: advising, cookies, enumeration, and firing that survives sinks
// leaving in the middle.
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

    // Tells every property sink.
    bool Fire(DISPID id)
    {
        return Notify.ForEachSink<IPropertyNotifySink>([id](IPropertyNotifySink* sink) {
            sink->OnChanged(id);
            return true;
        });
    }
    // Asks every property sink until one refuses.
    bool Ask(DISPID id)
    {
        return Notify.ForEachSink<IPropertyNotifySink>([id](IPropertyNotifySink* sink) {
            return sink->OnRequestEdit(id) == S_OK;
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
    CComPtr<IConnectionPointContainer> Container;
    CSource* Source = nullptr;
    CComPtr<IConnectionPoint> Point;
};

} // namespace

TEST_F(ConnectionPoints, CookiesAreDistinctAndNeverZero)
{
    CPropertySink a, b;
    DWORD first = 0, second = 0;
    ASSERT_EQ(S_OK, Point->Advise(&a, &first));
    ASSERT_EQ(S_OK, Point->Advise(&b, &second));
    EXPECT_NE(0u, first);
    EXPECT_NE(first, second);
    EXPECT_EQ(1u, a.Refs);
    ASSERT_EQ(S_OK, Point->Unadvise(first));
    EXPECT_EQ(0u, a.Refs);
    EXPECT_EQ(CONNECT_E_NOCONNECTION, Point->Unadvise(first));
    EXPECT_EQ(CONNECT_E_NOCONNECTION, Point->Unadvise(12345));
    // The same sink may connect twice, and is then called twice.
    DWORD again = 0;
    ASSERT_EQ(S_OK, Point->Advise(&b, &again));
    EXPECT_TRUE(Source->Fire(1));
    EXPECT_EQ(2u, b.Changes.size());
    Point->Unadvise(second);
    Point->Unadvise(again);
    EXPECT_EQ(0u, b.Refs);
}

TEST_F(ConnectionPoints, RefusesSinksOfAnotherInterfaceAndNullArguments)
{
    CComPtr<IConnectionPoint> advise;
    ASSERT_EQ(S_OK, Container->FindConnectionPoint(IID_IAdviseSink, advise.Out()));
    CPropertySink sink;
    DWORD cookie = 7;
    EXPECT_EQ(CONNECT_E_CANNOTCONNECT, advise->Advise(&sink, &cookie));
    EXPECT_EQ(0u, cookie);
    EXPECT_EQ(0u, sink.Refs);
    EXPECT_EQ(E_POINTER, Point->Advise(nullptr, &cookie));
    EXPECT_EQ(E_POINTER, Point->Advise(&sink, nullptr));
    CComPtr<IConnectionPoint> none;
    EXPECT_EQ(CONNECT_E_NOCONNECTION, Container->FindConnectionPoint(IID_IDispatch, none.Out()));
}

TEST_F(ConnectionPoints, PointSharesTheContainersCountAndKnowsIt)
{
    IID iid{};
    ASSERT_EQ(S_OK, Point->GetConnectionInterface(&iid));
    EXPECT_TRUE(IsEqualIID(IID_IPropertyNotifySink, iid));
    CComPtr<IConnectionPointContainer> back;
    ASSERT_EQ(S_OK, Point->GetConnectionPointContainer(back.Out()));
    EXPECT_EQ(Container.Get(), back.Get());
    back = nullptr;
    // The point keeps its container alive.
    LONG objects = CComModule::Instance().ObjectCount();
    Container = nullptr;
    EXPECT_EQ(objects, CComModule::Instance().ObjectCount());
    Point = nullptr;
    EXPECT_EQ(objects - 1, CComModule::Instance().ObjectCount());
}

TEST_F(ConnectionPoints, EnumeratesConnectionsAsTheyWere)
{
    CPropertySink a, b, c;
    DWORD cookies[3] = {};
    Point->Advise(&a, &cookies[0]);
    Point->Advise(&b, &cookies[1]);
    CComPtr<IEnumConnections> list;
    ASSERT_EQ(S_OK, Point->EnumConnections(list.Out()));
    Point->Advise(&c, &cookies[2]);   // after the enumerator was made: not in it
    CONNECTDATA data[3] = {};
    ULONG fetched = 0;
    EXPECT_EQ(S_OK, list->Next(1, data, nullptr));
    EXPECT_EQ(cookies[0], data[0].dwCookie);
    EXPECT_EQ(static_cast<IUnknown*>(&a), data[0].pUnk);
    data[0].pUnk->Release();
    CComPtr<IEnumConnections> copy;
    ASSERT_EQ(S_OK, list->Clone(copy.Out()));
    EXPECT_EQ(S_FALSE, list->Next(3, data, &fetched));
    ASSERT_EQ(1u, fetched);
    EXPECT_EQ(cookies[1], data[0].dwCookie);
    data[0].pUnk->Release();
    // The clone kept the position of the original when cloned.
    EXPECT_EQ(S_OK, copy->Next(1, data, &fetched));
    EXPECT_EQ(cookies[1], data[0].dwCookie);
    data[0].pUnk->Release();
    ASSERT_EQ(S_OK, list->Reset());
    EXPECT_EQ(S_FALSE, list->Skip(5));
    EXPECT_EQ(S_FALSE, list->Next(1, data, &fetched));
    EXPECT_EQ(0u, fetched);
    EXPECT_EQ(E_POINTER, list->Next(2, data, nullptr));
    list = nullptr;
    copy = nullptr;
    for (DWORD cookie : cookies) Point->Unadvise(cookie);
    EXPECT_EQ(0u, a.Refs + b.Refs + c.Refs);
}

TEST_F(ConnectionPoints, EnumeratesThePointsInOrder)
{
    CComPtr<IEnumConnectionPoints> points;
    ASSERT_EQ(S_OK, Container->EnumConnectionPoints(points.Out()));
    IConnectionPoint* found[2] = {};
    ULONG fetched = 0;
    ASSERT_EQ(S_OK, points->Next(2, found, &fetched));
    IID first{}, second{};
    found[0]->GetConnectionInterface(&first);
    found[1]->GetConnectionInterface(&second);
    EXPECT_TRUE(IsEqualIID(IID_IPropertyNotifySink, first));
    EXPECT_TRUE(IsEqualIID(IID_IAdviseSink, second));
    found[0]->Release();
    found[1]->Release();
    EXPECT_EQ(S_FALSE, points->Skip(1));
}

TEST_F(ConnectionPoints, FiringSurvivesSinksLeavingDuringTheWalk)
{
    CPropertySink first, second, third, late;
    DWORD cookies[3] = {};
    Point->Advise(&first, &cookies[0]);
    Point->Advise(&second, &cookies[1]);
    Point->Advise(&third, &cookies[2]);
    DWORD lateCookie = 0;
    // The first leaves, drops the second and brings in a new one.
    first.OnChange = [&](DISPID) {
        Point->Unadvise(cookies[0]);
        Point->Unadvise(cookies[1]);
        Point->Advise(&late, &lateCookie);
    };
    EXPECT_TRUE(Source->Fire(3));
    EXPECT_EQ(1u, first.Changes.size());
    EXPECT_EQ(0u, second.Changes.size());
    EXPECT_EQ(1u, third.Changes.size());
    EXPECT_EQ(0u, late.Changes.size());
    EXPECT_EQ(0u, first.Refs);
    EXPECT_EQ(0u, second.Refs);
    EXPECT_EQ(2u, Source->Notify.Count());
    first.OnChange = nullptr;
    EXPECT_TRUE(Source->Fire(4));
    EXPECT_EQ(1u, late.Changes.size());
    Point->Unadvise(cookies[2]);
    Point->Unadvise(lateCookie);
}

TEST_F(ConnectionPoints, WalkStopsWhenACallSaysSo)
{
    CPropertySink first, second;
    DWORD cookies[2] = {};
    Point->Advise(&first, &cookies[0]);
    Point->Advise(&second, &cookies[1]);
    first.EditAnswer = S_FALSE;
    EXPECT_FALSE(Source->Ask(1));
    EXPECT_EQ(1u, first.EditRequests.size());
    EXPECT_TRUE(second.EditRequests.empty());
    Point->Unadvise(cookies[0]);
    Point->Unadvise(cookies[1]);
}

TEST_F(ConnectionPoints, SinksAreReleasedWithTheSource)
{
    CPropertySink sink;
    DWORD cookie = 0;
    Point->Advise(&sink, &cookie);
    EXPECT_EQ(1u, sink.Refs);
    Point = nullptr;
    Container = nullptr;
    EXPECT_EQ(0u, sink.Refs);
}
