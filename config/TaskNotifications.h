#pragma once
// IQvxTaskNotifications to 6: what happens to a host task. The receiver's places differ from the
// interface's: interface operations 6, 7 and 8 reach receiver places 7, 8 and 6, so that going
// away is place 6 and the run state place 8. Versions 2 to 6 add one operation each.
#include "config/NotificationSinks.h"

// Reserved places stand where the host's interface has operations the chart does not act on.
class CTaskNotificationsReceiver
{
public:
    virtual void OnCurrentSelectionChanged(IQvxTask* /*task*/) {}
    virtual void Reserved1(IQvxTask* /*task*/) {}
    virtual void OnSelectionsChanged(IQvxTask* /*task*/) {}
    virtual void Reserved3(IQvxTask* /*task*/) {}
    virtual void Reserved4(IQvxTask* /*task*/) {}
    virtual void Reserved5(IQvxTask* /*task*/) {}
    virtual void OnTaskGoingAway(IQvxTask* /*task*/) {}
    virtual void Reserved6(IQvxTask* /*task*/) {}
    virtual void OnRunningChanged(IQvxTask* /*task*/) {}
    // The cursor counts from the start of the current selection.
    virtual void OnCursorChanged(IQvxTask* /*task*/, qvx::time /*time*/) {}

protected:
    ~CTaskNotificationsReceiver() = default;
};

// Reserved places stand where the host's interface has operations the chart does not act on.
class CTaskNotifications2Receiver : public CTaskNotificationsReceiver
{
public:
    virtual void Reserved10(IQvxTask* /*task*/) {}

protected:
    ~CTaskNotifications2Receiver() = default;
};

// Reserved places stand where the host's interface has operations the chart does not act on.
class CTaskNotifications3Receiver : public CTaskNotifications2Receiver
{
public:
    virtual void Reserved11(IQvxTask* /*task*/) {}

protected:
    ~CTaskNotifications3Receiver() = default;
};

// Reserved places stand where the host's interface has operations the chart does not act on.
class CTaskNotifications4Receiver : public CTaskNotifications3Receiver
{
public:
    virtual void Reserved12(IQvxTask* /*task*/) {}

protected:
    ~CTaskNotifications4Receiver() = default;
};

// Reserved places stand where the host's interface has operations the chart does not act on.
class CTaskNotifications5Receiver : public CTaskNotifications4Receiver
{
public:
    virtual void Reserved13(IQvxTask* /*task*/) {}

protected:
    ~CTaskNotifications5Receiver() = default;
};

// Reserved places stand where the host's interface has operations the chart does not act on.
class CTaskNotifications6Receiver : public CTaskNotifications5Receiver
{
public:
    virtual void Reserved14(IQvxTask* /*task*/) {}

protected:
    ~CTaskNotifications6Receiver() = default;
};

template <class Base>
class CTaskNotificationsSink : public CBaseNotificationsSink<CTaskNotificationsReceiver>, public Base
{
public:
    using R = CTaskNotificationsReceiver;
    explicit CTaskNotificationsSink(R* receiver) : CBaseNotificationsSink(receiver) {}

    STDMETHODIMP OnCurrentSelectionChanged(IQvxTask* t) override { return Forward(&R::OnCurrentSelectionChanged, t); }
    STDMETHODIMP Reserved1(IQvxTask* t) override { return Forward(&R::Reserved1, t); }
    STDMETHODIMP OnSelectionsChanged(IQvxTask* t) override { return Forward(&R::OnSelectionsChanged, t); }
    STDMETHODIMP Reserved3(IQvxTask* t) override { return Forward(&R::Reserved3, t); }
    STDMETHODIMP Reserved4(IQvxTask* t) override { return Forward(&R::Reserved4, t); }
    STDMETHODIMP Reserved5(IQvxTask* t) override { return Forward(&R::Reserved5, t); }
    STDMETHODIMP Reserved6(IQvxTask* t) override { return Forward(&R::Reserved6, t); }
    STDMETHODIMP OnRunningChanged(IQvxTask* t) override { return Forward(&R::OnRunningChanged, t); }
    STDMETHODIMP OnTaskGoingAway(IQvxTask* t) override { return Forward(&R::OnTaskGoingAway, t); }
    STDMETHODIMP OnCursorChanged(IQvxTask* t, __int64 time) override
    {
        return Forward(&R::OnCursorChanged, t, qvx::time(time));
    }
};

template <class Base>
class CTaskNotifications2Sink : public CTaskNotificationsSink<Base>
{
public:
    explicit CTaskNotifications2Sink(CTaskNotifications2Receiver* receiver) : CTaskNotificationsSink<Base>(receiver) {}

    STDMETHODIMP Reserved10(IQvxTask* t) override { return this->ForwardAs(&CTaskNotifications2Receiver::Reserved10, t); }
};

template <class Base>
class CTaskNotifications3Sink : public CTaskNotifications2Sink<Base>
{
public:
    explicit CTaskNotifications3Sink(CTaskNotifications3Receiver* receiver) : CTaskNotifications2Sink<Base>(receiver) {}

    STDMETHODIMP Reserved11(IQvxTask* t) override { return this->ForwardAs(&CTaskNotifications3Receiver::Reserved11, t); }
};

template <class Base>
class CTaskNotifications4Sink : public CTaskNotifications3Sink<Base>
{
public:
    explicit CTaskNotifications4Sink(CTaskNotifications4Receiver* receiver) : CTaskNotifications3Sink<Base>(receiver) {}

    STDMETHODIMP Reserved12(IQvxTask* t) override { return this->ForwardAs(&CTaskNotifications4Receiver::Reserved12, t); }
};

template <class Base>
class CTaskNotifications5Sink : public CTaskNotifications4Sink<Base>
{
public:
    explicit CTaskNotifications5Sink(CTaskNotifications5Receiver* receiver) : CTaskNotifications4Sink<Base>(receiver) {}

    STDMETHODIMP Reserved13(IQvxTask* t) override { return this->ForwardAs(&CTaskNotifications5Receiver::Reserved13, t); }
};

template <class Base>
class CTaskNotifications6Sink : public CTaskNotifications5Sink<Base>
{
public:
    explicit CTaskNotifications6Sink(CTaskNotifications6Receiver* receiver) : CTaskNotifications5Sink<Base>(receiver) {}

    STDMETHODIMP Reserved14(IQvxTask* t) override { return this->ForwardAs(&CTaskNotifications6Receiver::Reserved14, t); }
};
