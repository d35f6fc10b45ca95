#pragma once
// The ways through the host's objects that a test takes, each step checked: from the root to a
// task, from a task to a selection, from a selection to a channel, and from a channel to its series.
#include <gtest/gtest.h>
#include "com/AutomationTypes.h"
#include "com/ComPtr.h"
#include "Interfaces.h"

namespace qvxtest {

inline CComPtr<IQvxTask> TaskById(IQvxOrvid* host, long id)
{
    CComPtr<IQvxTaskList> tasks;
    CComPtr<IQvxTask> task;
    EXPECT_EQ(S_OK, host->GetTaskList(tasks.Out()));
    if (tasks) { EXPECT_EQ(S_OK, tasks->GetItem(id, task.Out())); }
    return task;
}

inline CComPtr<IQvxDataSelection> SelectionOf(IQvxTask* task, long index)
{
    CComPtr<IQvxDataSelectionList> list;
    CComPtr<IQvxDataSelection> selection;
    EXPECT_EQ(S_OK, task->GetDataSelections(list.Out()));
    if (list) { EXPECT_EQ(S_OK, list->GetItem(index, selection.Out())); }
    return selection;
}

inline CComPtr<IUnknown> ChannelOf(IQvxDataSelection* selection, const wchar_t* name)
{
    CComPtr<IQvxDataSelectionChannels> channels;
    CComPtr<IUnknown> channel;
    EXPECT_EQ(S_OK, selection->QueryInterface(__uuidof(IQvxDataSelectionChannels), channels.OutVoid()));
    if (channels) { EXPECT_EQ(S_OK, channels->GetChannel(CBstr(name).Get(), channel.Out())); }
    return channel;
}

inline CComPtr<IQvxData> DataOf(IUnknown* channel)
{
    CComPtr<IQvxChannelProxy> proxy;
    CComPtr<IQvxData> data;
    EXPECT_EQ(S_OK, channel->QueryInterface(__uuidof(IQvxChannelProxy), proxy.OutVoid()));
    if (proxy) { EXPECT_EQ(S_OK, proxy->GetData(data.Out())); }
    return data;
}

} // namespace qvxtest
