#pragma once
// A state that runs without the mouse captured and that almost anything breaks: a key it does not
// take, a click, the wheel, a lost focus, a resize. The fragile manager holds it and ends it.
#include <windows.h>

enum : DWORD
{
    FRAGILE_TAKES_KEYS = 1,
    FRAGILE_TAKES_COMMANDS = 2,
    FRAGILE_SURVIVES_CONTEXTMENU = 4,
};

class CFragileModeBase
{
public:
    // Non-zero when the mode may start.
    virtual BOOL Begin() = 0;
    // The mode stops and lets its timer go.
    virtual void End() = 0;
    // `handled` comes in as 0; the mode sets it when it took the key or the command.
    virtual void OnKeyDown(UINT key, BOOL& handled) = 0;
    virtual void OnCommand(WORD command, BOOL& handled) = 0;
    virtual DWORD GetFlags() = 0;

protected:
    ~CFragileModeBase() = default;
};
