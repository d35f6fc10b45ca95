#pragma once
// Timers of the control's window whose id is the address of the object that owns them. Each tick
// goes straight to its owner's OnTimer through a TIMERPROC, with no table of timers to keep, and
// the owners of one window never clash, since no two objects share an address.
//
// An owner stops its timer before it goes; the window's end stops every timer on it.
#include <windows.h>

template <class Owner>
class CWindowTimer
{
public:
    // Starts the owner's timer on `window`, or restarts it with the new period. Gives the timer's
    // id, or 0 when there is no window or the system refuses.
    static UINT_PTR Start(HWND window, Owner& owner, UINT period)
    {
        if (!window || !IsWindow(window)) return 0;
        return SetTimer(window, IdOf(owner), period, &Tick) ? IdOf(owner) : 0;
    }
    // Ends the owner's timer; nothing happens when it does not run or the window has gone.
    static void Stop(HWND window, Owner& owner)
    {
        if (window && IsWindow(window)) KillTimer(window, IdOf(owner));
    }
    static UINT_PTR IdOf(Owner& owner) { return reinterpret_cast<UINT_PTR>(&owner); }

private:
    static void CALLBACK Tick(HWND, UINT, UINT_PTR id, DWORD) noexcept
    {
        // A tick is a window message: nothing may leave it by an exception.
        try {
            reinterpret_cast<Owner*>(id)->OnTimer();
        } catch (...) {
        }
    }
};
