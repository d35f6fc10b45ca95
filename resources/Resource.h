#pragma once
// Resource numbers of the control's module.
#define IDB_PALETTE 101
#define IDS_TIME_PREFIX 11018
// The control modes' texts.
#define IDS_ELAPSED_TIME 114
#define IDS_RUNNING 115
#define IDS_LOCAL_PAUSE 116
#define IDS_GLOBAL_PAUSE 120
#define IDS_PAUSED_TIME 122
