#pragma once
// A window-message sink in the message-map manner, and a chain of further sinks by id. The control
// hands each message down its chain of sinks; the first that reports it handled ends the walk.
#include <windows.h>
#include <map>

class CMessageMap
{
public:
    // A non-zero map id asks for the sink's alternate map; most sinks decline it.
    virtual bool ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                                      DWORD mapId) = 0;

protected:
    ~CMessageMap() = default;
};

// Sinks entered by id, each asked with its own map id 0. Entering an id again replaces the sink;
// a sink that goes away leaves by its id.
class CDynamicChain
{
public:
    void SetChainEntry(DWORD id, CMessageMap* sink) { Entries[id] = sink; }
    void RemoveChainEntry(DWORD id) { Entries.erase(id); }
    bool HasChainEntry(DWORD id) const { return Entries.count(id) != 0; }

    // Asks the sink entered with `id`; false when there is none.
    bool CallChain(DWORD id, HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result)
    {
        auto entry = Entries.find(id);
        return entry != Entries.end() && entry->second &&
               entry->second->ProcessWindowMessage(window, message, wParam, lParam, result, 0);
    }

private:
    std::map<DWORD, CMessageMap*> Entries;
};
