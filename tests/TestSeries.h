#pragma once
// A host series with exactly known samples for what reads series: records over vectors with any
// lower bound, the host's strict searches, counts of what was handed out, calls that fail on demand.
#include <windows.h>
#include <set>
#include <string>
#include <vector>
#include "com/ComObject.h"
#include "Interfaces.h"

namespace qvxtest {

// One unbroken run of samples.
struct CSeriesRecord
{
    bool Continuous = true;   // false: a break lies between this record and the one before
    bool Periodic = false;
    qvx::time Start = 0, Period = 0;
    std::vector<qvx::time> Times;   // of an aperiodic record
    std::vector<double> Values;
    LONG LowerBound = 0;   // of the arrays that the record hands out

    size_t Size() const noexcept { return Values.size(); }
    qvx::time TimeAt(size_t index) const noexcept
    {
        return Periodic ? Start + qvx::time(index) * Period : Times[index];
    }
    qvx::time Last() const noexcept { return TimeAt(Size() - 1); }
};

// A sample of the series: record (from 0) and index within it.
struct CSamplePosition { size_t Record = 0, Index = 0; };

class CTestSeries : public CComRoot, public IQvxData2
{
public:
    QVX_BEGIN_INTERFACES(CTestSeries)
        QVX_INTERFACE(CTestSeries, IQvxData2),
        QVX_INTERFACE_VIA(CTestSeries, IQvxData, IQvxData2),
    QVX_END_INTERFACES()

    static CComPtr<CComObject<CTestSeries>> Create();

    // Records must not be empty, and times must rise across the whole series.
    CSeriesRecord& AddPeriodic(qvx::time start, qvx::time period, std::vector<double> values,
                               bool continuous = true, LONG lowerBound = 0);
    CSeriesRecord& AddAperiodic(std::vector<qvx::time> times, std::vector<double> values,
                                bool continuous = true, LONG lowerBound = 0);
    // A live series: appends samples one period after the last, to the last record while it is
    // periodic with that period and holds fewer than `recordSize` samples, else to a new
    // continuous record. The first sample of an empty series lies at time 0.
    void Append(const double* values, size_t count, qvx::time period, size_t recordSize);

    qvx::time TimeOf(CSamplePosition at) const noexcept { return Records[at.Record].TimeAt(at.Index); }
    double ValueOf(CSamplePosition at) const noexcept { return Records[at.Record].Values[at.Index]; }
    // The host's strict searches; no reader of series asks for the nearest sample.
    bool FirstAfter(qvx::time time, CSamplePosition& at) const;
    bool LastBefore(qvx::time time, CSamplePosition& at) const;
    // GetValueAt without counting: mode 2 interpolates linearly, others hold the last sample.
    // Fails outside the data and inside a break.
    bool ValueAt(qvx::time time, LONG mode, double& value) const;

    // What the series handed out since the last ResetCounts.
    long long ValuesHandedOut = 0;
    std::vector<LONG> RecordsFetched;
    int ValueQueries = 0;
    int SampleTimeQueries = 0;
    void ResetCounts();

    // Names of operations that fail with E_FAIL; a record number (from 1) whose values fail; and
    // one whose values come as an empty array.
    std::set<std::string> Failing;
    LONG FailingValuesRecord = 0;
    LONG EmptyValuesRecord = 0;

    std::vector<CSeriesRecord> Records;

    STDMETHODIMP GetRecords(IQvxDataRecords** records) override;
    STDMETHODIMP LocateSample(INT64 time, LONG direction, LONG option, LONG* record, LONG* index) override;
    // Not asked by the readers under test.
    STDMETHODIMP FindSample(INT64, LONG, LONG, INT64*, double*) override { return E_NOTIMPL; }
    STDMETHODIMP FindTimeOfValue(double, LONG, LONG, INT64*) override { return E_NOTIMPL; }
    STDMETHODIMP GetValueAt(INT64 time, LONG mode, LONG option, double* value) override;
    STDMETHODIMP GetSampleTime(INT64 time, LONG direction, LONG option, INT64* sampleTime) override;
    STDMETHODIMP Reserved6() override { return E_NOTIMPL; }
    STDMETHODIMP Reserved7() override { return E_NOTIMPL; }
    STDMETHODIMP GetLatestValue(double*) override { return E_NOTIMPL; }

    bool Fails(const char* operation) const { return Failing.count(operation) != 0; }

private:
    bool Search(qvx::time time, LONG direction, CSamplePosition& at) const
    {
        return direction == 0 ? FirstAfter(time, at) : direction == 1 && LastBefore(time, at);
    }
};

using CTestSeriesPtr = CComPtr<CComObject<CTestSeries>>;

} // namespace qvxtest
