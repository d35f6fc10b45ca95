#include "statistics/StatisticsCalculator.h"
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include "com/AutomationTypes.h"
#include "com/ComPtr.h"
#include "statistics/DistanceCursor.h"
#include "statistics/RecordWalker.h"

namespace {

// Modes and directions of the host's searches, and the option that calculators pass.
constexpr LONG Interpolated = 2;
constexpr LONG FirstAfter = 0;
constexpr LONG LastBefore = 1;
constexpr LONG Option = 0;

// False for NaN and the infinities: all exponent bits set.
inline bool IsFinite(double value) noexcept
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return (bits & 0x7FF0000000000000ull) != 0x7FF0000000000000ull;
}

// One tick either side, without leaving the range of qvx::time.
inline qvx::time TickBefore(qvx::time t) noexcept { return t == INT64_MIN ? t : t - 1; }
inline qvx::time TickAfter(qvx::time t) noexcept { return t == INT64_MAX ? t : t + 1; }

// Whether record `number` follows the one before it without a break; an unanswered question
// counts as no break.
bool RecordContinues(IQvxDataRecords* records, LONG number)
{
    CComPtr<IQvxDataRecord> record;
    VARIANT_BOOL continuous = VARIANT_TRUE;
    if (FAILED(records->GetRecord(number, record.Out())) || !record) return true;
    if (FAILED(record->GetIsContinuous(&continuous))) return true;
    return continuous != 0;
}

} // namespace

template <class T, class Bin, bool AllValues>
CStatisticsCalculator<T, Bin, AllValues>::CStatisticsCalculator(LONG binSize, DistanceCursor* coordinates) noexcept
    : Coordinates(coordinates), BinSize(binSize)
{
}

template <class T, class Bin, bool AllValues>
T CStatisticsCalculator<T, Bin, AllValues>::CoordinateOf(qvx::time time, [[maybe_unused]] const Bin* current)
{
    if constexpr (std::is_same_v<T, qvx::time>) {
        return time;
    } else {
        double distance = 0.0;
        if (Coordinates && Coordinates->TimeToDistance(time, distance) == DistanceCursor::HasValue) return distance;
        // A time with no distance adds no extent: it stands where the bin stands.
        return current ? current->EndX : 0.0;
    }
}

template <class T, class Bin, bool AllValues>
void CStatisticsCalculator<T, Bin, AllValues>::OpenBin(CFill& fill, qvx::time time, T x, double value)
{
    fill.NewBins.push_back(std::make_unique<Bin>(time, x, value));
    fill.Current = fill.NewBins.back().get();
}

template <class T, class Bin, bool AllValues>
inline void CStatisticsCalculator<T, Bin, AllValues>::AddSample(CFill& fill, qvx::time time, double value)
{
    if constexpr (!AllValues) {
        if (!IsFinite(value)) return;
    }
    const T x = CoordinateOf(time, fill.Current);
    if (!fill.ForceNew && fill.Current) {
        if (fill.Current->Count >= BinSize) {
            // The full bin's last sample is also the first of the next, so the integral has no
            // hole between them.
            const Bin& full = *fill.Current;
            OpenBin(fill, full.EndTime, full.EndX, full.LastValue);
        }
        fill.Current->Take(time, x, value);
        return;
    }
    OpenBin(fill, time, x, value);
    fill.ForceNew = false;
}

template <class T, class Bin, bool AllValues>
bool CStatisticsCalculator<T, Bin, AllValues>::ReadRecord(CFill& fill, const CRecordWalker& walker, qvx::time to)
{
    // Fewer samples than the search found there, or fewer times than values: what follows was
    // not read, so this read fails and no edge sample may stand for it.
    if (walker.TimesShort || walker.First < 0 || walker.Count <= walker.First) {
        fill.Failed = true;
        return false;
    }
    return walker.WithTimes(
        [&](auto timeOf) { return Feed(fill, walker.Values, walker.First, walker.Count, to, timeOf); });
}

template <class T, class Bin, bool AllValues>
template <class TimeOf>
inline bool CStatisticsCalculator<T, Bin, AllValues>::Feed(CFill& fill, const double* value, LONG first,
                                                           LONG count, qvx::time to, TimeOf timeOf)
{
    for (LONG i = first; i < count;) {
        if constexpr (std::is_same_v<T, qvx::time>) {
            // Until the current bin is full no other bin can open, so the samples that fit go
            // straight in, without AddSample's decisions, through a copy that lives in registers.
            Bin* bin = fill.Current;
            if (bin && !fill.ForceNew && bin->Count < BinSize) {
                const LONG end = LONG(std::min<LONGLONG>(count, LONGLONG(i) + (BinSize - bin->Count)));
                Bin running = *bin;
                bool past = false;
                for (; i < end; ++i) {
                    const qvx::time t = timeOf(i);
                    if (t > to) {
                        past = true;
                        break;
                    }
                    if constexpr (!AllValues) {
                        if (!IsFinite(value[i])) continue;
                    }
                    running.Take(t, t, value[i]);
                }
                *bin = running;
                if (past) return false;
                continue;
            }
        }
        const qvx::time t = timeOf(i);
        if (t > to) return false;
        AddSample(fill, t, value[i]);
        ++i;
    }
    return true;
}

template <class T, class Bin, bool AllValues>
bool CStatisticsCalculator<T, Bin, AllValues>::ReadSpan(CFill& fill, qvx::time from, qvx::time to)
{
    bool gapBeforeAnyBin = false;
    if constexpr (std::is_same_v<T, double>) {
        // The distance walk starts again with this span.
        if (Coordinates) Coordinates->DropRecord();
    }
    IQvxData2* data = fill.Data;
    CComPtr<IQvxDataRecords> records;
    if (FAILED(data->GetRecords(records.Out())) || !records) {
        fill.Failed = true;
        return gapBeforeAnyBin;
    }
    fill.ForceNew = false;

    // The span starts with a sample exactly at `from`, interpolated linearly whatever the
    // channel's interpolation; a bin resumed at its last sample holds that one already, and
    // taking it again would pile up samples of no width.
    double value = 0.0;
    const bool resumedAtFrom = fill.Current && fill.Current->EndTime == from;
    if (!resumedAtFrom && SUCCEEDED(data->GetValueAt(from, Interpolated, Option, &value))) {
        if (fill.Current) {
            LONG number = 0, index = 0;
            if (data->LocateSample(TickAfter(from), LastBefore, Option, &number, &index) == S_OK && index == 0
                && !RecordContinues(records, number))
                fill.ForceNew = true;
        }
        AddSample(fill, from, value);
    }

    LONG first = 1, index = 0;
    if (data->LocateSample(from, FirstAfter, Option, &first, &index) != S_OK) return gapBeforeAnyBin;
    CRecordWalker walker;
    if (!walker.Begin(records, first, index)) {
        fill.Failed = true;
        return gapBeforeAnyBin;
    }
    for (;;) {
        const CRecordWalker::Status status = walker.Next();
        if (status == CRecordWalker::Ended) break;
        if (status == CRecordWalker::Failed) {
            fill.Failed = true;
            return gapBeforeAnyBin;
        }
        if (walker.BreakBefore) {
            fill.ForceNew = true;
            if (fill.Current)
                fill.Current->HasGap = TRUE;
            else
                gapBeforeAnyBin = true;
        }
        if (status == CRecordWalker::Unreadable) {
            fill.Failed = true;
            break;
        }
        if (!ReadRecord(fill, walker, to)) break;
    }
    if (fill.Failed) return gapBeforeAnyBin;

    // ... and ends with one exactly at `to`.
    if (fill.Current && fill.Current->EndTime < to && SUCCEEDED(data->GetValueAt(to, Interpolated, Option, &value)))
        AddSample(fill, to, value);
    return gapBeforeAnyBin;
}

template <class T, class Bin, bool AllValues>
bool CStatisticsCalculator<T, Bin, AllValues>::Trim(qvx::time from, qvx::time to)
{
    size_t front = 0;
    while (front < Bins.size() && Bins[front]->StartTime < from) ++front;
    Bins.erase(Bins.begin(), Bins.begin() + front);
    size_t back = Bins.size();
    while (back > 0 && Bins[back - 1]->EndTime > to) --back;
    const bool trimmed = front != 0 || back != Bins.size();
    Bins.erase(Bins.begin() + back, Bins.end());
    return trimmed;
}

template <class T, class Bin, bool AllValues>
bool CStatisticsCalculator<T, Bin, AllValues>::ReadGaps(CFill& fill, qvx::time from, qvx::time to, bool& gap)
{
    BinVector& added = fill.NewBins;
    bool changed = false;
    qvx::time cursor = from;
    size_t next = 0;
    for (;;) {
        const bool wasAtEnd = next == Bins.size();
        const qvx::time gapEnd = wasAtEnd ? to : Bins[next]->StartTime;
        if (cursor != gapEnd || (Bins.empty() && added.empty())) {
            Bin* noted = fill.Current;
            const LONG notedCount = noted ? noted->Count : 0;
            if (ReadSpan(fill, cursor, gapEnd)) gap = true;

            Bin* current = fill.Current;
            if (current != noted) {
                changed = true;
                const bool keep = current->Count >= 2 || (Bins.empty() && added.size() == 1);
                if (!keep) {
                    // A lone sample adds nothing.
                    const qvx::time loneStart = current->StartTime;
                    added.erase(std::find_if(added.begin(), added.end(),
                                             [current](const BinPtr& bin) { return bin.get() == current; }));
                    fill.Current = nullptr;
                    // Where it does not meet the next bin, the bins behind no longer join up.
                    if (!wasAtEnd && loneStart != gapEnd) Bins.erase(Bins.begin() + next, Bins.end());
                }
            } else if (current && current->Count != notedCount) {
                changed = true;
            }
            // What a failed host call left unread waits for the next Calculate.
            if (fill.Failed) break;
        }
        if (next < Bins.size()) {
            // A following gap goes on in this bin as far as its size allows.
            fill.Current = Bins[next].get();
            cursor = fill.Current->EndTime;
            ++next;
        }
        if (wasAtEnd) break;
    }

    // New bins come in time order, and are few but for a first read: each goes to its place,
    // which keeps Bins sorted without sorting it.
    auto place = Bins.begin();
    for (BinPtr& bin : added) {
        place = std::upper_bound(place, Bins.end(), bin->StartTime,
                                 [](qvx::time start, const BinPtr& other) { return start < other->StartTime; });
        place = Bins.insert(place, std::move(bin)) + 1;
    }
    added.clear();
    return changed;
}

template <class T, class Bin, bool AllValues>
void CStatisticsCalculator<T, Bin, AllValues>::Fold(bool gap)
{
    Bin& first = *Bins.front();
    if (gap) first.HasGap = TRUE;
    Minimum = first.Minimum;
    Maximum = first.Maximum;
    MinimumTime = first.MinimumTime;
    MaximumTime = first.MaximumTime;
    HasGap = first.HasGap;
    if (Bins.size() == 1 && first.Count == 1) {
        Mean = first.Minimum;
        return;
    }
    double integral = 0.0;
    // Summed in the coordinate's own type: exact 64-bit ticks for time.
    T extent{};
    for (const BinPtr& bin : Bins) {
        if (bin->HasGap) HasGap = TRUE;
        integral += bin->Integral;
        extent += bin->Extent();
        if (bin->Minimum < Minimum) {
            Minimum = bin->Minimum;
            MinimumTime = bin->MinimumTime;
        }
        if (bin->Maximum > Maximum) {
            Maximum = bin->Maximum;
            MaximumTime = bin->MaximumTime;
        }
    }
    // The stretches between bins, the breaks, count in neither sum.
    Mean = extent != T{} ? integral / double(extent) : integral;
}

template <class T, class Bin, bool AllValues>
void CStatisticsCalculator<T, Bin, AllValues>::Calculate(IQvxData2* data, qvx::time from, qvx::time to)
{
    Valid = FALSE;
    if (!data) {
        Bins.clear();
        BinsDropped = false;
        return;
    }
    // A range that ends before it starts holds no data.
    if (from > to) return;
    bool changed = Trim(from, to);
    if (std::exchange(BinsDropped, false)) changed = true;

    // The first and the last sample in the range; the searches are strict.
    qvx::time first = TickBefore(from), last = TickAfter(to), found = 0;
    if (SUCCEEDED(data->GetSampleTime(first, FirstAfter, Option, &found))) first = found;
    if (SUCCEEDED(data->GetSampleTime(last, LastBefore, Option, &found))) last = found;

    bool gap = false;
    if (first == last && Bins.empty()) {
        // One sample at most lies in the range.
        if (from <= first && first <= to) {
            CFill fill{data, Bins};
            ReadSpan(fill, first, last);
            changed = true;
        }
    } else {
        BinVector added;
        CFill fill{data, added};
        if (ReadGaps(fill, from, to, gap)) changed = true;
    }

    if (Bins.empty()) return;
    Valid = TRUE;
    if (!changed) return;
    Fold(gap);
}

template <class T, class Bin, bool AllValues>
void CStatisticsCalculator<T, Bin, AllValues>::Invalidate(const qvx::time& from, const qvx::time& to)
{
    for (size_t n = Bins.size(); n-- > 0;) {
        const Bin& bin = *Bins[n];
        if (bin.EndTime < from) break;
        if (bin.StartTime <= to) {
            Bins.erase(Bins.begin() + n);
            BinsDropped = true;
        }
    }
}

template class CStatisticsCalculator<double, CLinearStatsBin<double>, true>;
template class CStatisticsCalculator<double, CHoldStatsBin<double>, true>;
template class CStatisticsCalculator<qvx::time, CLinearStatsBin<qvx::time>, true>;
template class CStatisticsCalculator<qvx::time, CHoldStatsBin<qvx::time>, true>;
template class CStatisticsCalculator<qvx::time, CMinMaxStatsBin, true>;
template class CStatisticsCalculator<qvx::time, CMinMaxStatsBin, false>;
