#pragma once
// Blinks the active trace: the flash command starts it, and the same command or the trace's end
// stops it. It is a region only to be told by the task and the trace when they go away; it has
// no rectangle and never draws.
#include <windows.h>
#include "control/ChartRegionBase.h"

class CDragManager;
class CTaskDataItem;
class CTraceDataItem;

class CFlashingTraceManager : public CChartRegionBase
{
public:
    static constexpr UINT FlashPeriod = 500;
    // The "Flash" command of the menu and of the F key.
    static constexpr WORD FlashCommand = 41001;

    // Listens to `task` from here on.
    CFlashingTraceManager(const HWND* windowRef, CTaskDataItem* task, CDragManager& dragManager);
    // Leaves the task, and leaves a flashing trace shown.
    ~CFlashingTraceManager() override;

    // The flash command: starts flashing the active trace, or stops the trace that flashes. False
    // when there is no active trace, so that the command goes on unhandled. During a drag nothing
    // starts.
    bool OnFlashCommand();
    bool IsFlashing() const noexcept { return FlashingTrace != nullptr; }
    // Each period: the trace's phase turns over.
    void OnTimer();

    void OnDataItemChanged(CDataItemBase*, DWORD) override {}
    // The flashing trace or the task is going away: forgotten without being touched again.
    void OnDataItemRemoved(CDataItemBase* item) override;
    // Nothing of its own to paint.
    void Invalidate() override {}

    CTraceDataItem* FlashingTrace = nullptr;
    // Null once the task has gone.
    CTaskDataItem* FlashTask;
    CDragManager& DragManager;

private:
    void Stop();
    HWND Window() const noexcept { return WindowRef ? *WindowRef : nullptr; }
};
