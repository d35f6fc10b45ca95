#pragma once
// The bits of the data items' Flags words, class by class. A stale bit says that a reader must
// ask the host before use, and the reader clears it; an event bit only tells the listeners what
// happened, and nothing tests or clears it in the word.
#include <windows.h>

// CTaskDataItem
inline constexpr DWORD TaskTimeRangeStale = 0x1;       // stale: readers test it with TaskLiveRangeStale
inline constexpr DWORD TaskDistanceRangeStale = 0x2;   // stale
inline constexpr DWORD TaskYZoomChanged = 0x4;         // event: the vertical zoom stack changed
inline constexpr DWORD TaskSelectionsStale = 0x8;      // stale: rebuild the selection vectors
inline constexpr DWORD TaskOrderChanged = 0x10;        // event: the channel order changed
inline constexpr DWORD TaskActiveStale = 0x20;         // stale: find the active trace, channel, selection
inline constexpr DWORD TaskTimeFormatStale = 0x80;     // stale
inline constexpr DWORD TaskTimeDigitsStale = 0x100;    // stale
inline constexpr DWORD TaskZoomStackChanged = 0x200;   // stale and event: fetch CursorCentred again
inline constexpr DWORD TaskLiveRangeStale = 0x400;     // stale, real time: the live window moved
inline constexpr DWORD TaskControlModeStale = 0x800;   // stale, real time: rebuild the control mode
inline constexpr DWORD TaskWindowMoved = 0x1000;       // event, real time: the data time window moved
inline constexpr DWORD TaskTimeSpanChanged = 0x2000;   // event, real time: cleared after its fan-out
inline constexpr DWORD TaskCursorStale = 0x80000000;   // stale: fetch the cursor time

// CDataSelectionDataItem
inline constexpr DWORD SelectionColorStale = 0x1;      // stale
inline constexpr DWORD SelectionTimesChanged = 0x2;    // event: start, end or offset changed
inline constexpr DWORD SelectionEventSetsStale = 0x4;  // stale: rebuild the event-set items
inline constexpr DWORD SelectionSplitsStale = 0x8;     // stale: extend the split list
inline constexpr DWORD SelectionSegmentsStale = 0x10;  // stale: extend the segment list
inline constexpr DWORD SelectionDistanceStale = 0x20;  // stale: distances at start and end
inline constexpr DWORD SelectionChannelsChanged = 0x40; // event

// CChannelDataItem: each bit guards one cached property
inline constexpr DWORD ChannelTracesStale = 0x1;       // the trace vector
inline constexpr DWORD ChannelColorStale = 0x2;        // "Color"
inline constexpr DWORD ChannelRangeStale = 0x4;        // "Display minimum"/"Display maximum" or autoscale
inline constexpr DWORD ChannelUnitStale = 0x8;         // "Unit", "User type"
inline constexpr DWORD ChannelDecimalsStale = 0x10;    // "Decimal places"
inline constexpr DWORD ChannelYPercentStale = 0x20;    // "Y-axis % minimum"/"Y-axis % maximum"
inline constexpr DWORD ChannelYPercentEnabledStale = 0x40; // "Y-axis % enabled"
inline constexpr DWORD ChannelNameStale = 0x80;        // "Display name"
inline constexpr DWORD ChannelAutoscaleStale = 0x100;  // "Autoscale"
inline constexpr DWORD ChannelInterpolationStale = 0x200; // "Interpolation"
inline constexpr DWORD ChannelAuxiliaryAxisStale = 0x400; // "Auxiliary axis"
inline constexpr DWORD ChannelAlarmStale = 0x800;      // "Alarm maximum", "Alarm minimum", "Alarm condition"
inline constexpr DWORD ChannelAlarmColorStale = 0x1000; // "Alarm color"

// CTraceDataItem
inline constexpr DWORD TraceDataStale = 0x1;           // stale and event: samples changed
inline constexpr DWORD TraceColorChanged = 0x2;        // event
inline constexpr DWORD TraceCalculatorStale = 0x4;     // stale: rebuild the statistics calculator
inline constexpr DWORD TraceDistanceChanged = 0x8;     // event
inline constexpr DWORD TraceValueOffsetStale = 0x10;   // stale

// CEventSetDataItem
inline constexpr DWORD EventSetDataChanged = 0x1;      // stale and event: fetch the events again
inline constexpr DWORD EventSetPriorityStale = 0x2;    // stale
inline constexpr DWORD EventSetColorStale = 0x4;       // stale
inline constexpr DWORD EventSetColorChanged = 0x8;     // event, with 0x2 or 0x4 when the scheme reads it

// CLapMarkersDataItem
inline constexpr DWORD LapListStale = 0x1;             // stale: read the marker list again
inline constexpr DWORD LapSourceStale = 0x2;           // stale: attach to the host's lap object again

// CDistanceDataItem
inline constexpr DWORD DistanceUnitStale = 0x1;        // stale
inline constexpr DWORD DistanceDataChanged = 0x2;      // stale and event: fetch the series again

// CMapDistanceDataItem
inline constexpr DWORD MapDistanceStale = 0x1;         // stale
