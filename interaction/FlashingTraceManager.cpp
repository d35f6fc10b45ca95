#include "interaction/FlashingTraceManager.h"
#include "control/WindowTimer.h"
#include "interaction/DragManager.h"
#include "items/TaskDataItem.h"
#include "items/TraceDataItem.h"

using CFlashTimer = CWindowTimer<CFlashingTraceManager>;

CFlashingTraceManager::CFlashingTraceManager(const HWND* windowRef, CTaskDataItem* task, CDragManager& dragManager)
    : CChartRegionBase(windowRef), FlashTask(task), DragManager(dragManager)
{
    if (FlashTask) FlashTask->AddListener(this);
}

CFlashingTraceManager::~CFlashingTraceManager()
{
    if (FlashTask) FlashTask->RemoveListener(this);
    Stop();
}

bool CFlashingTraceManager::OnFlashCommand()
{
    CTraceDataItem* active = FlashTask ? FlashTask->GetActiveTrace() : nullptr;
    if (!active) return false;
    if (FlashingTrace) {
        // The trace that flashes stops, even when another has become active since.
        Stop();
        return true;
    }
    if (DragManager.ActiveMode) return true;
    FlashingTrace = active;
    FlashingTrace->AddListener(this);
    // The first tick comes a period from now: the flash begins with the trace shown.
    CFlashTimer::Start(Window(), *this, FlashPeriod);
    return true;
}

void CFlashingTraceManager::OnTimer()
{
    if (FlashingTrace) FlashingTrace->SetFlashPhase(!FlashingTrace->FlashOn);
}

void CFlashingTraceManager::OnDataItemRemoved(CDataItemBase* item)
{
    if (item && item == FlashingTrace) {
        CFlashTimer::Stop(Window(), *this);
        FlashingTrace = nullptr;
    }
    if (item && item == FlashTask) FlashTask = nullptr;
}

void CFlashingTraceManager::Stop()
{
    CFlashTimer::Stop(Window(), *this);
    CTraceDataItem* trace = FlashingTrace;
    if (!trace) return;
    FlashingTrace = nullptr;
    if (!trace->FlashOn) trace->SetFlashPhase(TRUE);
    trace->RemoveListener(this);
}
