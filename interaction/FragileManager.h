#pragma once
// The control's one fragile manager: it holds the running fragile mode and ends it when a message
// passes that breaks it. The breaking message is never consumed: it takes its normal effect too.
#include <windows.h>
#include "control/MessageMap.h"
#include "interaction/FragileModeBase.h"

class CDragManager;

class CFragileManager : public CMessageMap
{
public:
    explicit CFragileManager(CDragManager& dragManager) noexcept : DragManager(dragManager) {}
    CFragileManager(const CFragileManager&) = delete;
    CFragileManager& operator=(const CFragileManager&) = delete;
    virtual ~CFragileManager() = default;

    bool ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                              DWORD mapId) override;
    // Stops a running mode first; never starts during a drag. Non-zero when `mode` now runs.
    virtual BOOL Start(CFragileModeBase* mode);
    // Ends the running mode, if any.
    virtual void Stop();

    // The running mode, or null.
    CFragileModeBase* ActiveMode = nullptr;
    CDragManager& DragManager;
};
