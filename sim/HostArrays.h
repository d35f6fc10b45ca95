#pragma once
// The arrays that the substitute host hands out, and what the clients did with them. A client
// owns every array it is given: it must unlock what it locked and destroy the array. The ledger
// watches the process's task allocator, through which the automation library allocates and
// frees arrays, so it sees a destruction however the client makes it.
#include <windows.h>
#include <oleauto.h>
#include <string_view>

// The arrays handed out since the last reset.
struct CArrayBalance
{
    LONG HandedOut = 0;
    LONG Destroyed = 0;
    // Still alive and locked.
    LONG Locked = 0;
    // False when the allocator could not be watched: destructions are then not seen.
    bool Watching = false;

    LONG Outstanding() const noexcept { return HandedOut - Destroyed; }
    // Every array destroyed, none left locked.
    bool Balanced() const noexcept { return Watching && HandedOut == Destroyed && Locked == 0; }
};

class CHostArrays
{
public:
    // A new counted one-dimensional array of `count` elements of `type`, from `lowerBound`,
    // holding a copy of `items`.
    static HRESULT Make(VARTYPE type, LONG lowerBound, const void* items, ULONG count, SAFEARRAY** out);
    static CArrayBalance Balance();
    // Whether to watch the allocator from the next array on (the default); false when the watch
    // already stands and `watch` is false, as it cannot be taken back.
    static bool Watch(bool watch);
    // Starts counting afresh; arrays handed out earlier count no more.
    static void Reset();
    // The balance's figures under the names "Arrays.HandedOut", "Arrays.Destroyed",
    // "Arrays.Locked" and "Arrays.Outstanding"; false for another name.
    static bool Figure(std::wstring_view name, LONG& value);
};
