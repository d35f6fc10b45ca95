#pragma once
// IQvxOrvidNotifications to 4: changes of the host root. The receiver's places differ from the
// interface's: interface operations 0 and 1 reach places 1 and 0, and 7 and 8 reach 8 and 7.
#include "config/NotificationSinks.h"

// Reserved places stand where the host's interface has operations the chart does not act on.
class COrvidNotificationsReceiver
{
public:
    virtual void Reserved1(IQvxOrvid* /*host*/) {}
    virtual void OnChannelDefaultsChanged(IQvxOrvid* /*host*/, IQvxPropertyFactory* /*factory*/) {}
    virtual void OnSelectionsChanged(IQvxOrvid* /*host*/) {}
    virtual void OnGroupDefaultsChanged(IQvxOrvid* /*host*/, IQvxGroupFactory* /*factory*/) {}
    virtual void Reserved4(IQvxOrvid* /*host*/) {}
    virtual void Reserved5(IQvxOrvid* /*host*/) {}
    virtual void OnHostGoingAway(IQvxOrvid* /*host*/) {}
    virtual void OnTimeFormatChanged(IQvxOrvid* /*host*/) {}
    virtual void Reserved7(IQvxOrvid* /*host*/) {}
    virtual void OnEventPrioritiesChanged(IQvxOrvid* /*host*/) {}

protected:
    ~COrvidNotificationsReceiver() = default;
};

// Reserved places stand where the host's interface has operations the chart does not act on.
class COrvidNotifications2Receiver : public COrvidNotificationsReceiver
{
public:
    virtual void Reserved10(IQvxOrvid* /*host*/) {}
    virtual void Reserved11(IQvxOrvid* /*host*/) {}
    virtual void OnEventDefaultsChanged(IQvxOrvid* /*host*/, IQvxEventPropertyFactory* /*factory*/) {}

protected:
    ~COrvidNotifications2Receiver() = default;
};

class COrvidNotifications3Receiver : public COrvidNotifications2Receiver
{
public:
    virtual void OnTimeDigitsChanged(IQvxOrvid* /*host*/) {}

protected:
    ~COrvidNotifications3Receiver() = default;
};

// Reserved places stand where the host's interface has operations the chart does not act on.
class COrvidNotifications4Receiver : public COrvidNotifications3Receiver
{
public:
    virtual void Reserved14(IQvxOrvid* /*host*/) {}
    virtual void Reserved15(IQvxOrvid* /*host*/) {}
    virtual void Reserved16(IQvxOrvid* /*host*/) {}

protected:
    ~COrvidNotifications4Receiver() = default;
};

template <class Base>
class COrvidNotificationsSink : public CBaseNotificationsSink<COrvidNotificationsReceiver>, public Base
{
public:
    using R = COrvidNotificationsReceiver;
    explicit COrvidNotificationsSink(R* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnChannelDefaultsChanged(IQvxOrvid* host, IQvxPropertyFactory* factory) override
    {
        return Forward(&R::OnChannelDefaultsChanged, host, factory);
    }
    STDMETHODIMP Reserved1(IQvxOrvid* host) override { return Forward(&R::Reserved1, host); }
    STDMETHODIMP OnSelectionsChanged(IQvxOrvid* host) override { return Forward(&R::OnSelectionsChanged, host); }
    STDMETHODIMP OnGroupDefaultsChanged(IQvxOrvid* host, IQvxGroupFactory* factory) override
    {
        return Forward(&R::OnGroupDefaultsChanged, host, factory);
    }
    STDMETHODIMP Reserved4(IQvxOrvid* host) override { return Forward(&R::Reserved4, host); }
    STDMETHODIMP Reserved5(IQvxOrvid* host) override { return Forward(&R::Reserved5, host); }
    STDMETHODIMP OnHostGoingAway(IQvxOrvid* host) override { return Forward(&R::OnHostGoingAway, host); }
    STDMETHODIMP Reserved7(IQvxOrvid* host) override { return Forward(&R::Reserved7, host); }
    STDMETHODIMP OnTimeFormatChanged(IQvxOrvid* host) override { return Forward(&R::OnTimeFormatChanged, host); }
    STDMETHODIMP OnEventPrioritiesChanged(IQvxOrvid* host) override { return Forward(&R::OnEventPrioritiesChanged, host); }
};

template <class Base>
class COrvidNotifications2Sink : public COrvidNotificationsSink<Base>
{
public:
    using R2 = COrvidNotifications2Receiver;
    explicit COrvidNotifications2Sink(R2* receiver) : COrvidNotificationsSink<Base>(receiver) {}

    STDMETHODIMP Reserved10(IQvxOrvid* host) override { return this->ForwardAs(&R2::Reserved10, host); }
    STDMETHODIMP Reserved11(IQvxOrvid* host) override { return this->ForwardAs(&R2::Reserved11, host); }
    STDMETHODIMP OnEventDefaultsChanged(IQvxOrvid* host, IQvxEventPropertyFactory* factory) override
    {
        return this->ForwardAs(&R2::OnEventDefaultsChanged, host, factory);
    }
};

template <class Base>
class COrvidNotifications3Sink : public COrvidNotifications2Sink<Base>
{
public:
    explicit COrvidNotifications3Sink(COrvidNotifications3Receiver* receiver) : COrvidNotifications2Sink<Base>(receiver) {}

    STDMETHODIMP OnTimeDigitsChanged(IQvxOrvid* host) override
    {
        return this->ForwardAs(&COrvidNotifications3Receiver::OnTimeDigitsChanged, host);
    }
};

template <class Base>
class COrvidNotifications4Sink : public COrvidNotifications3Sink<Base>
{
public:
    using R4 = COrvidNotifications4Receiver;
    explicit COrvidNotifications4Sink(R4* receiver) : COrvidNotifications3Sink<Base>(receiver) {}

    STDMETHODIMP Reserved14(IQvxOrvid* host) override { return this->ForwardAs(&R4::Reserved14, host); }
    STDMETHODIMP Reserved15(IQvxOrvid* host) override { return this->ForwardAs(&R4::Reserved15, host); }
    STDMETHODIMP Reserved16(IQvxOrvid* host) override { return this->ForwardAs(&R4::Reserved16, host); }
};
