#pragma once
// The one routine that turns a chart time into text: the axis labels, the cursor values and the
// time edit box all read times through it.
#include <cstdint>

// The text of `time` (signed 100 ns ticks) in `format` 0 seconds, 1 minutes and seconds,
// 2 hours, minutes and seconds; null for an unknown format. A static buffer, valid until the next call.
//   decimals    digits after the separator; negative means 3, more than 7 shows 7.
//   compact     leading zero fields go, and the first field left has no leading zero.
//   stripZeros  trailing zeros go, and the separator with them when nothing follows it.
//   showUnit    " sec", " min:sec" or " hr:min:sec" follows, by format.
//   showPlus    a time that is not negative reads with a "+".
// The decimal separator is the user's, from the locale.
const wchar_t* FormatTimeText(std::int64_t time, long format, long decimals, bool compact,
                              bool stripZeros, bool showUnit, bool showPlus);

// The same with a given decimal separator in place of the locale's. Null also when the separator
// is null or empty, or is not found in the text after its first character.
const wchar_t* FormatTimeText(std::int64_t time, long format, long decimals, bool compact,
                              bool stripZeros, bool showUnit, bool showPlus, const wchar_t* separator);
