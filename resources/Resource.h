#pragma once
// Resource numbers of the control's module.
#define IDB_PALETTE 101
#define IDS_TIME_PREFIX 11018
