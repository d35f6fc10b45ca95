#pragma once
// IQvxDataSelectionNotifications, 2 and 3: what happens to a data selection. Each operation
// carries the selection, so that a multi-source sink's receiver can tell its sources apart.
#include "config/NotificationSinks.h"

// Reserved places stand where the host's interface has operations the chart does not act on.
class CDataSelectionNotificationsReceiver
{
public:
    virtual void OnColorChanged(IQvxDataSelection* /*selection*/) {}
    virtual void OnContentsChanged(IQvxDataSelection* /*selection*/) {}
    virtual void OnSelectionGoingAway(IQvxDataSelection* /*selection*/) {}
    virtual void OnTimesChanged(IQvxDataSelection* /*selection*/) {}
    virtual void Reserved4(IQvxDataSelection* /*selection*/) {}
    virtual void OnRealTimeChanged(IQvxDataSelection* /*selection*/) {}
    virtual void Reserved6(IQvxDataSelection* /*selection*/) {}
    virtual void Reserved7(IQvxDataSelection* /*selection*/) {}

protected:
    ~CDataSelectionNotificationsReceiver() = default;
};

class CDataSelectionNotifications2Receiver : public CDataSelectionNotificationsReceiver
{
public:
    virtual void OnChannelsChanged(IQvxDataSelection* /*selection*/) {}

protected:
    ~CDataSelectionNotifications2Receiver() = default;
};

class CDataSelectionNotifications3Receiver : public CDataSelectionNotifications2Receiver
{
public:
    virtual void OnSelectionTextChanged(IQvxDataSelection* /*selection*/) {}

protected:
    ~CDataSelectionNotifications3Receiver() = default;
};

template <class Base>
class CDataSelectionNotificationsSink : public CBaseNotificationsSink<CDataSelectionNotificationsReceiver>, public Base
{
public:
    using R = CDataSelectionNotificationsReceiver;
    explicit CDataSelectionNotificationsSink(R* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnColorChanged(IQvxDataSelection* s) override { return Forward(&R::OnColorChanged, s); }
    STDMETHODIMP OnContentsChanged(IQvxDataSelection* s) override { return Forward(&R::OnContentsChanged, s); }
    STDMETHODIMP OnSelectionGoingAway(IQvxDataSelection* s) override { return Forward(&R::OnSelectionGoingAway, s); }
    STDMETHODIMP OnTimesChanged(IQvxDataSelection* s) override { return Forward(&R::OnTimesChanged, s); }
    STDMETHODIMP Reserved4(IQvxDataSelection* s) override { return Forward(&R::Reserved4, s); }
    STDMETHODIMP OnRealTimeChanged(IQvxDataSelection* s) override { return Forward(&R::OnRealTimeChanged, s); }
    STDMETHODIMP Reserved6(IQvxDataSelection* s) override { return Forward(&R::Reserved6, s); }
    STDMETHODIMP Reserved7(IQvxDataSelection* s) override { return Forward(&R::Reserved7, s); }
};

template <class Base>
class CDataSelectionNotifications2Sink : public CDataSelectionNotificationsSink<Base>
{
public:
    explicit CDataSelectionNotifications2Sink(CDataSelectionNotifications2Receiver* receiver)
        : CDataSelectionNotificationsSink<Base>(receiver) {}

    STDMETHODIMP OnChannelsChanged(IQvxDataSelection* s) override
    {
        return this->ForwardAs(&CDataSelectionNotifications2Receiver::OnChannelsChanged, s);
    }
};

template <class Base>
class CDataSelectionNotifications3Sink : public CDataSelectionNotifications2Sink<Base>
{
public:
    explicit CDataSelectionNotifications3Sink(CDataSelectionNotifications3Receiver* receiver)
        : CDataSelectionNotifications2Sink<Base>(receiver) {}

    STDMETHODIMP OnSelectionTextChanged(IQvxDataSelection* s) override
    {
        return this->ForwardAs(&CDataSelectionNotifications3Receiver::OnSelectionTextChanged, s);
    }
};
