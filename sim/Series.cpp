#include "sim/Series.h"
#include <algorithm>
#include <cmath>
#include "sim/HostArrays.h"

// --- CDataRecord ---

void CDataRecord::Init(std::shared_ptr<const CChannelData> data, size_t index)
{
    Data = std::move(data);
    Index = index;
}

STDMETHODIMP CDataRecord::GetIsContinuous(VARIANT_BOOL* continuous)
{
    QVX_HOST_CALL("IQvxDataRecord.GetIsContinuous");
    if (!continuous) return E_POINTER;
    *continuous = ToVariantBool(Record().Continuous);
    return S_OK;
}

STDMETHODIMP CDataRecord::GetIsPeriodic(VARIANT_BOOL* periodic)
{
    QVX_HOST_CALL("IQvxDataRecord.GetIsPeriodic");
    if (!periodic) return E_POINTER;
    *periodic = ToVariantBool(Record().Periodic);
    return S_OK;
}

STDMETHODIMP CDataRecord::GetStartTime(__int64* time)
{
    QVX_HOST_CALL("IQvxDataRecord.GetStartTime");
    if (!time) return E_POINTER;
    *time = Record().First();
    return S_OK;
}

STDMETHODIMP CDataRecord::GetPeriod(__int64* period)
{
    QVX_HOST_CALL("IQvxDataRecord.GetPeriod");
    if (!period) return E_POINTER;
    *period = 0;
    if (!Record().Periodic) return E_FAIL;
    *period = Record().Period;
    return S_OK;
}

STDMETHODIMP CDataRecord::GetTimes(SAFEARRAY** times)
{
    QVX_HOST_CALL("IQvxDataRecord.GetTimes");
    if (!times) return E_POINTER;
    *times = nullptr;
    const CChannelData::CRecord& record = Record();
    if (!record.Periodic)
        return CHostArrays::Make(VT_I8, record.LowerBound, record.Times.data(), ULONG(record.Times.size()), times);
    // A periodic record's times are worked out for the caller.
    std::vector<qvx::time> computed(record.Count());
    for (size_t i = 0; i < computed.size(); ++i) computed[i] = record.TimeAt(i);
    return CHostArrays::Make(VT_I8, record.LowerBound, computed.data(), ULONG(computed.size()), times);
}

STDMETHODIMP CDataRecord::GetValues(SAFEARRAY** values)
{
    QVX_HOST_CALL("IQvxDataRecord.GetValues");
    if (!values) return E_POINTER;
    *values = nullptr;
    const CChannelData::CRecord& record = Record();
    return CHostArrays::Make(VT_R8, record.LowerBound, record.Values.data(), ULONG(record.Values.size()), values);
}

// --- CDataRecords ---

STDMETHODIMP CDataRecords::GetCount(long* count)
{
    QVX_HOST_CALL("IQvxDataRecords.GetCount");
    if (!count) return E_POINTER;
    *count = long(Data->Records().size());
    return S_OK;
}

STDMETHODIMP CDataRecords::GetRecord(long number, IQvxDataRecord** record)
{
    QVX_HOST_CALL("IQvxDataRecords.GetRecord");
    if (!record) return E_POINTER;
    *record = nullptr;
    if (number < 1 || size_t(number) > Data->Records().size()) return E_INVALIDARG;
    size_t index = size_t(number - 1);
    if (Made.size() <= index) Made.resize(index + 1);
    if (!Made[index]) {
        HRESULT hr = CreateObject<CDataRecord, IQvxDataRecord>(Made[index]);
        if (FAILED(hr)) return hr;
        Made[index]->Init(Data, index);
    }
    return GiveOut(Made[index], record);
}

// --- CSeries ---

STDMETHODIMP CSeries::GetRecords(IQvxDataRecords** records)
{
    QVX_HOST_CALL("IQvxData.GetRecords");
    if (!records) return E_POINTER;
    *records = nullptr;
    if (!Records) {
        HRESULT hr = CreateObject<CDataRecords, IQvxDataRecords>(Records);
        if (FAILED(hr)) return hr;
        Records->Init(Data);
    }
    return GiveOut(Records, records);
}

HRESULT CSeries::Search(qvx::time time, long direction, CChannelData::CPosition& at) const
{
    switch (direction) {
    case 0: return Data->FirstAfter(time, at) ? S_OK : S_FALSE;
    case 1: return Data->LastBefore(time, at) ? S_OK : S_FALSE;
    case 2: return Data->Nearest(time, at) ? S_OK : S_FALSE;
    default: return E_INVALIDARG;
    }
}

STDMETHODIMP CSeries::LocateSample(__int64 time, long direction, long, long* record, long* index)
{
    QVX_HOST_CALL("IQvxData.LocateSample");
    if (!record || !index) return E_POINTER;
    CChannelData::CPosition at;
    HRESULT hr = Search(time, direction, at);
    if (hr != S_OK) return hr;
    *record = long(at.Record + 1);
    *index = long(at.Index);
    return S_OK;
}

STDMETHODIMP CSeries::FindSample(__int64 time, long direction, long, __int64* sampleTime, double* value)
{
    QVX_HOST_CALL("IQvxData.FindSample");
    if (!sampleTime || !value) return E_POINTER;
    CChannelData::CPosition at;
    HRESULT hr = Search(time, direction, at);
    if (FAILED(hr)) return hr;
    if (hr != S_OK) return E_FAIL;
    *sampleTime = Data->TimeOf(at);
    *value = Data->ValueOf(at);
    return S_OK;
}

STDMETHODIMP CSeries::GetSampleTime(__int64 time, long direction, long, __int64* sampleTime)
{
    QVX_HOST_CALL("IQvxData.GetSampleTime");
    if (!sampleTime) return E_POINTER;
    CChannelData::CPosition at;
    HRESULT hr = Search(time, direction, at);
    if (FAILED(hr)) return hr;
    if (hr != S_OK) return E_FAIL;
    *sampleTime = Data->TimeOf(at);
    return S_OK;
}

STDMETHODIMP CSeries::GetValueAt(__int64 time, long mode, long, double* value)
{
    QVX_HOST_CALL("IQvxData.GetValueAt");
    if (!value) return E_POINTER;
    CChannelData::CPosition first, last;
    if (!Data->First(first) || !Data->Last(last)) return E_FAIL;
    if (time < Data->TimeOf(first) || time > Data->TimeOf(last)) return E_FAIL;
    CChannelData::CPosition before, after;
    // A sample at the time is the value itself.
    if (!Data->LastBefore(time, before)) {
        *value = Data->ValueOf(first);
        return S_OK;
    }
    after = before;
    Data->Next(after);
    if (Data->TimeOf(after) == time) {
        *value = Data->ValueOf(after);
        return S_OK;
    }
    if (Data->GapBefore(after)) return E_FAIL;
    double v0 = Data->ValueOf(before);
    double v1 = Data->ValueOf(after);
    if (mode == 2) {
        double t0 = double(Data->TimeOf(before));
        double t1 = double(Data->TimeOf(after));
        *value = v0 + (v1 - v0) * (double(time) - t0) / (t1 - t0);
    } else {
        // Mode 0 takes the next reading; every other mode holds the last one.
        *value = mode == 0 ? v1 : v0;
    }
    return S_FALSE;
}

STDMETHODIMP CSeries::FindTimeOfValue(double value, long mode, long flag, __int64* time)
{
    QVX_HOST_CALL("IQvxData.FindTimeOfValue");
    if (!time) return E_POINTER;
    if (std::isnan(value) || (mode != 2 && mode != 6)) return E_INVALIDARG;
    CChannelData::CPosition first, last;
    if (!Data->First(first) || !Data->Last(last)) return E_FAIL;
    // Outside the values: with flag 1 the nearer end of the data, else a failure.
    if (value < Data->ValueOf(first) || value > Data->ValueOf(last)) {
        if (flag != 1) return E_FAIL;
        *time = Data->TimeOf(value < Data->ValueOf(first) ? first : last);
        return S_FALSE;
    }
    // The first sample that reaches the value: records, then samples, in order of value.
    const auto& records = Data->Records();
    size_t r = 0;
    while (records[r].Values.back() < value) ++r;
    const auto& values = records[r].Values;
    size_t i = size_t(std::lower_bound(values.begin(), values.end(), value) - values.begin());
    // A series that is not monotonic gets an answer, if not a meaningful one.
    if (i >= values.size()) i = values.size() - 1;
    CChannelData::CPosition at{r, i};
    qvx::time reached = Data->TimeOf(at);
    CChannelData::CPosition before = at;
    if (mode == 6 || Data->ValueOf(at) == value || !Data->Previous(before)) {
        *time = reached;
        return S_OK;
    }
    double v0 = Data->ValueOf(before);
    double v1 = Data->ValueOf(at);
    qvx::time t0 = Data->TimeOf(before);
    *time = t0 + qvx::time(std::llround(double(reached - t0) * (value - v0) / (v1 - v0)));
    return S_OK;
}

STDMETHODIMP CSeries::GetLatestValue(double* value)
{
    QVX_HOST_CALL("IQvxData2.GetLatestValue");
    if (!value) return E_POINTER;
    CChannelData::CPosition last;
    if (!Data->Last(last)) return E_FAIL;
    *value = Data->ValueOf(last);
    return S_OK;
}
