#pragma once
// The series of one channel in one selection (IQvxData2), its records (IQvxDataRecords) and
// each record (IQvxDataRecord), over the samples of CChannelData. A live series grows under
// the objects: a record handed out earlier gives its newer samples too.
//
// Results: a search that finds no sample gives S_FALSE from LocateSample and E_FAIL from
// FindSample and GetSampleTime, with the outs unchanged. GetValueAt gives S_OK at a sample,
// S_FALSE between samples (interpolated or held), and E_FAIL outside the data or in a gap.
#include <memory>
#include <vector>
#include "sim/ChannelData.h"
#include "sim/SimObject.h"

class CDataRecord : public CComRoot, public IQvxDataRecord
{
public:
    QVX_BEGIN_INTERFACES(CDataRecord)
        QVX_INTERFACE(CDataRecord, IQvxDataRecord),
    QVX_END_INTERFACES()

    void Init(std::shared_ptr<const CChannelData> data, size_t index);

    STDMETHODIMP GetIsContinuous(VARIANT_BOOL* continuous) override;
    STDMETHODIMP GetIsPeriodic(VARIANT_BOOL* periodic) override;
    STDMETHODIMP GetStartTime(__int64* time) override;
    QVX_RESERVED(3)
    STDMETHODIMP GetPeriod(__int64* period) override;
    QVX_RESERVED(5)
    STDMETHODIMP GetTimes(SAFEARRAY** times) override;
    QVX_RESERVED(7)
    STDMETHODIMP GetValues(SAFEARRAY** values) override;

private:
    const CChannelData::CRecord& Record() const { return Data->Records()[Index]; }

    std::shared_ptr<const CChannelData> Data;
    size_t Index = 0;
};

class CDataRecords : public CComRoot, public IQvxDataRecords
{
public:
    QVX_BEGIN_INTERFACES(CDataRecords)
        QVX_INTERFACE(CDataRecords, IQvxDataRecords),
    QVX_END_INTERFACES()

    void Init(std::shared_ptr<const CChannelData> data) { Data = std::move(data); }

    STDMETHODIMP GetCount(long* count) override;
    STDMETHODIMP GetRecord(long number, IQvxDataRecord** record) override;

private:
    std::shared_ptr<const CChannelData> Data;
    // One object per record, so that a record keeps its identity.
    std::vector<CObjectPtr<CDataRecord>> Made;
};

class CSeries : public CComRoot, public IQvxData2
{
public:
    QVX_BEGIN_INTERFACES(CSeries)
        QVX_INTERFACE(CSeries, IQvxData2),
        QVX_INTERFACE_VIA(CSeries, IQvxData, IQvxData2),
    QVX_END_INTERFACES()

    void Init(std::shared_ptr<const CChannelData> data) { Data = std::move(data); }

    STDMETHODIMP GetRecords(IQvxDataRecords** records) override;
    STDMETHODIMP LocateSample(__int64 time, long direction, long option, long* record, long* index) override;
    STDMETHODIMP FindSample(__int64 time, long direction, long option, __int64* sampleTime, double* value) override;
    STDMETHODIMP FindTimeOfValue(double value, long mode, long flag, __int64* time) override;
    STDMETHODIMP GetValueAt(__int64 time, long mode, long option, double* value) override;
    STDMETHODIMP GetSampleTime(__int64 time, long direction, long option, __int64* sampleTime) override;
    QVX_RESERVED(6)
    QVX_RESERVED(7)
    STDMETHODIMP GetLatestValue(double* value) override;

private:
    // The sample for a direction: 0 first after, 1 last before, 2 nearest.
    HRESULT Search(qvx::time time, long direction, CChannelData::CPosition& at) const;

    std::shared_ptr<const CChannelData> Data;
    CObjectPtr<CDataRecords> Records;
};
