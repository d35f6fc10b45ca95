#pragma once
// Statistics calculators: the extremes and the mean of a series over a range, kept in bins so
// that a repeated calculation reads from the host only what no bin covers.
#include <windows.h>
#include <memory>
#include <vector>
#include "Interfaces.h"
#include "statistics/StatisticsBin.h"

class CRecordWalker;
class DistanceCursor;

class CBaseStatisticsCalculator
{
public:
    CBaseStatisticsCalculator() noexcept = default;
    CBaseStatisticsCalculator(const CBaseStatisticsCalculator&) = delete;
    CBaseStatisticsCalculator& operator=(const CBaseStatisticsCalculator&) = delete;
    virtual ~CBaseStatisticsCalculator() = default;

    // Brings the bins up to date for the absolute range [from, to] and sets the results. A null
    // series empties the bins and leaves Valid 0.
    virtual void Calculate(IQvxData2* data, qvx::time from, qvx::time to) = 0;
    // Drops the bins that a change of the series between from and to touches. The results stay
    // as they are until the next Calculate.
    virtual void Invalidate(const qvx::time& from, const qvx::time& to) = 0;

    // The results of the last Calculate; only Valid means anything when Valid is 0.
    double Minimum = 0.0;
    double Maximum = 0.0;
    // Mean over the range, weighted by x; the stretches of a break count for nothing.
    double Mean = 0.0;
    qvx::time MinimumTime = 0;
    qvx::time MaximumTime = 0;
    BOOL HasGap = FALSE;
    BOOL Valid = FALSE;
};

// T is the x coordinate: qvx::time, or double for distance through Coordinates. Bin gives the
// integral rule. With AllValues false, values that are not finite are left out as if absent.
template <class T, class Bin, bool AllValues>
class CStatisticsCalculator : public CBaseStatisticsCalculator
{
public:
    using BinPtr = std::unique_ptr<Bin>;
    using BinVector = std::vector<BinPtr>;

    // `coordinates` gives the distances of sample times when T is double; not owned.
    explicit CStatisticsCalculator(LONG binSize, DistanceCursor* coordinates = nullptr) noexcept;

    void Calculate(IQvxData2* data, qvx::time from, qvx::time to) override;
    void Invalidate(const qvx::time& from, const qvx::time& to) override;

    // Sorted by StartTime; neighbours may share one sample and never overlap more.
    BinVector Bins;
    DistanceCursor* Coordinates;
    // A bin takes at most this many samples.
    LONG BinSize;

private:
    // The state of one filling pass: the bin that takes the next sample, and where new bins go.
    struct CFill
    {
        IQvxData2* Data;
        BinVector& NewBins;
        Bin* Current = nullptr;
        bool ForceNew = false;
        // A host call failed: what is not read yet stays uncovered for the next Calculate.
        bool Failed = false;
    };

    // Takes one sample into the current bin, or into a new one when a break forces it, there is
    // none, or the current one is full.
    void AddSample(CFill& fill, qvx::time time, double value);
    // Appends a bin that holds one sample and makes it the current one.
    void OpenBin(CFill& fill, qvx::time time, T x, double value);
    // Feeds the walker's open record up to `to`; true when the next record is to follow.
    bool ReadRecord(CFill& fill, const CRecordWalker& walker, qvx::time to);
    // Takes samples from `first` on, whose times `timeOf` gives, until one lies past `to`. The
    // result is true when all were taken.
    template <class TimeOf>
    bool Feed(CFill& fill, const double* value, LONG first, LONG count, qvx::time to, TimeOf timeOf);
    // Puts the samples of an uncovered span into bins, with a sample exactly at each edge where
    // the series has a value there. True when a break comes before any bin.
    bool ReadSpan(CFill& fill, qvx::time from, qvx::time to);
    T CoordinateOf(qvx::time time, const Bin* current);
    // Drops the bins that stick out of the range; true when any went.
    bool Trim(qvx::time from, qvx::time to);
    // Reads every stretch of the range that no bin covers and puts the new bins in their places;
    // true when the bins changed.
    bool ReadGaps(CFill& fill, qvx::time from, qvx::time to, bool& gap);
    // Sets the results from the bins.
    void Fold(bool gap);

    // Invalidate dropped bins since the last Calculate, so the results must be folded again.
    bool BinsDropped = false;
};

extern template class CStatisticsCalculator<double, CLinearStatsBin<double>, true>;
extern template class CStatisticsCalculator<double, CHoldStatsBin<double>, true>;
extern template class CStatisticsCalculator<qvx::time, CLinearStatsBin<qvx::time>, true>;
extern template class CStatisticsCalculator<qvx::time, CHoldStatsBin<qvx::time>, true>;
extern template class CStatisticsCalculator<qvx::time, CMinMaxStatsBin, true>;
extern template class CStatisticsCalculator<qvx::time, CMinMaxStatsBin, false>;
