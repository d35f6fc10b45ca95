#include "tests/TestSeries.h"
#include <algorithm>
#include <utility>
#include "com/AutomationTypes.h"
#include "sim/HostArrays.h"
#include "sim/SimObject.h"

namespace qvxtest {

namespace {

// The answer of a getter: E_POINTER without an out, E_FAIL when not `ok`.
template <class T, class V>
HRESULT Answer(T* out, bool ok, V value)
{
    if (!out) return E_POINTER;
    if (!ok) return E_FAIL;
    *out = T(value);
    return S_OK;
}

VARIANT_BOOL Bool(bool value) noexcept { return value ? VARIANT_TRUE : VARIANT_FALSE; }

class CTestRecord : public CComRoot, public IQvxDataRecord
{
public:
    QVX_BEGIN_INTERFACES(CTestRecord)
        QVX_INTERFACE(CTestRecord, IQvxDataRecord),
    QVX_END_INTERFACES()

    CTestSeriesPtr Series;
    size_t Number = 0;

    const CSeriesRecord& Data() const { return Series->Records[Number]; }

    STDMETHODIMP GetIsContinuous(VARIANT_BOOL* continuous) override
    {
        return Answer(continuous, !Series->Fails("GetIsContinuous"), Bool(Data().Continuous));
    }
    STDMETHODIMP GetIsPeriodic(VARIANT_BOOL* periodic) override
    {
        return Answer(periodic, !Series->Fails("GetIsPeriodic"), Bool(Data().Periodic));
    }
    STDMETHODIMP GetStartTime(INT64* time) override { return Answer(time, Data().Periodic, Data().Start); }
    STDMETHODIMP GetPeriod(INT64* period) override { return Answer(period, Data().Periodic, Data().Period); }
    STDMETHODIMP Reserved3() override { return E_NOTIMPL; }
    STDMETHODIMP Reserved5() override { return E_NOTIMPL; }
    STDMETHODIMP Reserved7() override { return E_NOTIMPL; }
    STDMETHODIMP GetTimes(SAFEARRAY** times) override
    {
        if (Data().Periodic || Series->Fails("GetTimes")) return E_FAIL;
        if (!times) return E_POINTER;
        return CHostArrays::Make(VT_I8, Data().LowerBound, Data().Times.data(), ULONG(Data().Times.size()), times);
    }
    STDMETHODIMP GetValues(SAFEARRAY** values) override
    {
        if (Series->Fails("GetValues") || Series->FailingValuesRecord == LONG(Number + 1)) return E_FAIL;
        if (!values) return E_POINTER;
        // A record that hides its values hands out an empty array, as one being filled may.
        const ULONG count = Series->EmptyValuesRecord == LONG(Number + 1) ? 0 : ULONG(Data().Size());
        const HRESULT hr = CHostArrays::Make(VT_R8, Data().LowerBound, Data().Values.data(), count, values);
        if (SUCCEEDED(hr)) Series->ValuesHandedOut += count;
        return hr;
    }
};

class CTestRecords : public CComRoot, public IQvxDataRecords
{
public:
    QVX_BEGIN_INTERFACES(CTestRecords)
        QVX_INTERFACE(CTestRecords, IQvxDataRecords),
    QVX_END_INTERFACES()

    CTestSeriesPtr Series;

    STDMETHODIMP GetCount(LONG* n) override { return Answer(n, !Series->Fails("GetCount"), Series->Records.size()); }
    STDMETHODIMP GetRecord(LONG number, IQvxDataRecord** record) override
    {
        if (!record) return E_POINTER;
        *record = nullptr;
        if (number < 1 || size_t(number) > Series->Records.size() || Series->Fails("GetRecord")) return E_FAIL;
        CObjectPtr<CTestRecord> object;
        if (FAILED((CreateObject<CTestRecord, IQvxDataRecord>(object)))) return E_OUTOFMEMORY;
        object->Series = Series;
        object->Number = size_t(number - 1);
        Series->RecordsFetched.push_back(number);
        return GiveOut(object, record);
    }
};

} // namespace

CTestSeriesPtr CTestSeries::Create()
{
    CTestSeriesPtr series;
    CreateObject<CTestSeries, IQvxData2>(series);
    return series;
}

CSeriesRecord& CTestSeries::AddPeriodic(qvx::time start, qvx::time period, std::vector<double> values,
                                        bool continuous, LONG lowerBound)
{
    return Records.emplace_back(CSeriesRecord{continuous, true, start, period, {}, std::move(values), lowerBound});
}

CSeriesRecord& CTestSeries::AddAperiodic(std::vector<qvx::time> times, std::vector<double> values, bool continuous,
                                         LONG lowerBound)
{
    return Records.emplace_back(
        CSeriesRecord{continuous, false, 0, 0, std::move(times), std::move(values), lowerBound});
}

void CTestSeries::Append(const double* values, size_t count, qvx::time period, size_t recordSize)
{
    for (size_t i = 0; i < count; ++i) {
        const bool extends = !Records.empty() && Records.back().Periodic && Records.back().Period == period
                             && Records.back().Size() < recordSize;
        if (!extends) {
            const qvx::time start = Records.empty() ? 0 : Records.back().Last() + period;
            AddPeriodic(start, period, {}).Values.reserve(recordSize);
        }
        Records.back().Values.push_back(values[i]);
    }
}

bool CTestSeries::FirstAfter(qvx::time time, CSamplePosition& at) const
{
    const auto record =
        std::partition_point(Records.begin(), Records.end(), [time](const auto& r) { return r.Last() <= time; });
    if (record == Records.end()) return false;
    size_t index = 0;
    if (record->Periodic) {
        if (record->Start <= time) index = size_t((time - record->Start) / record->Period) + 1;
    } else {
        index = size_t(std::upper_bound(record->Times.begin(), record->Times.end(), time) - record->Times.begin());
    }
    at = {size_t(record - Records.begin()), index};
    return true;
}

bool CTestSeries::LastBefore(qvx::time time, CSamplePosition& at) const
{
    const auto after =
        std::partition_point(Records.begin(), Records.end(), [time](const auto& r) { return r.TimeAt(0) < time; });
    if (after == Records.begin()) return false;
    const auto record = after - 1;
    size_t index = 0;
    if (record->Periodic) {
        index = std::min(size_t((time - 1 - record->Start) / record->Period), record->Size() - 1);
    } else {
        index = size_t(std::lower_bound(record->Times.begin(), record->Times.end(), time) - record->Times.begin()) - 1;
    }
    at = {size_t(record - Records.begin()), index};
    return true;
}

bool CTestSeries::ValueAt(qvx::time time, LONG mode, double& value) const
{
    CSamplePosition before, after;
    if (!LastBefore(time == INT64_MAX ? time : time + 1, before)) return false;
    if (TimeOf(before) == time) {
        value = ValueOf(before);
        return true;
    }
    // After the data, or inside a break, there is no value.
    if (!FirstAfter(time, after)) return false;
    if (after.Index == 0 && !Records[after.Record].Continuous) return false;
    const double v0 = ValueOf(before), v1 = ValueOf(after);
    const qvx::time t0 = TimeOf(before), t1 = TimeOf(after);
    value = mode != 2 ? v0 : v0 + (v1 - v0) * double(time - t0) / double(t1 - t0);
    return true;
}

void CTestSeries::ResetCounts()
{
    ValuesHandedOut = ValueQueries = SampleTimeQueries = 0;
    RecordsFetched.clear();
}

STDMETHODIMP CTestSeries::GetRecords(IQvxDataRecords** records)
{
    if (!records) return E_POINTER;
    *records = nullptr;
    if (Fails("GetRecords")) return E_FAIL;
    CObjectPtr<CTestRecords> object;
    if (FAILED((CreateObject<CTestRecords, IQvxDataRecords>(object)))) return E_OUTOFMEMORY;
    object->Series = static_cast<CComObject<CTestSeries>*>(this);
    return GiveOut(object, records);
}

STDMETHODIMP CTestSeries::LocateSample(INT64 time, LONG direction, LONG, LONG* record, LONG* index)
{
    if (!record || !index) return E_POINTER;
    if (Fails("LocateSample")) return E_FAIL;
    CSamplePosition at;
    // None found is a non-zero status that is not a failure.
    if (!Search(time, direction, at)) return S_FALSE;
    *record = LONG(at.Record + 1);
    *index = LONG(at.Index);
    return S_OK;
}

STDMETHODIMP CTestSeries::GetValueAt(INT64 time, LONG mode, LONG, double* value)
{
    if (!value) return E_POINTER;
    ++ValueQueries;
    return !Fails("GetValueAt") && ValueAt(time, mode, *value) ? S_OK : E_FAIL;
}

STDMETHODIMP CTestSeries::GetSampleTime(INT64 time, LONG direction, LONG, INT64* sampleTime)
{
    if (!sampleTime) return E_POINTER;
    ++SampleTimeQueries;
    CSamplePosition at;
    if (Fails("GetSampleTime") || !Search(time, direction, at)) return E_FAIL;
    *sampleTime = TimeOf(at);
    return S_OK;
}

} // namespace qvxtest
