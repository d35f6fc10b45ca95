#pragma once
// What a property view keeps between its showings: the sort mode (1 alphabetical, 2 by
// category, at first 2), the folded categories, and the selection path, kept as a copy. Every
// change is told to the sinks of IQvxSharedStateNotifications.
#include <set>
#include <string>
#include "sim/Notifier.h"
#include "sim/SimObject.h"

// One step of a kept selection path.
class CPathNode : public CComRoot, public IQvxTreeNode
{
public:
    QVX_BEGIN_INTERFACES(CPathNode)
        QVX_INTERFACE(CPathNode, IQvxTreeNode),
    QVX_END_INTERFACES()

    // Copies a path, step by step.
    static HRESULT Copy(IQvxTreeNode* from, CComPtr<IQvxTreeNode>& to);

    STDMETHODIMP GetData(__int64* data) override;
    STDMETHODIMP GetName(BSTR* name) override;
    STDMETHODIMP GetIndex(long* index) override;
    STDMETHODIMP GetChild(IQvxTreeNode** child) override;

private:
    __int64 Data = 0;
    CBstr Name;
    long Index = -1;
    CComPtr<IQvxTreeNode> Child;
};

class CPropertyViewState : public CComRoot, public IQvxPropertyViewState, public CNotificationsImpl
{
public:
    QVX_BEGIN_INTERFACES(CPropertyViewState)
        QVX_INTERFACE(CPropertyViewState, IQvxPropertyViewState),
        QVX_INTERFACE(CPropertyViewState, IQvxNotifications),
    QVX_END_INTERFACES()

    CPropertyViewState();

    STDMETHODIMP SetSortMode(long mode) override;
    STDMETHODIMP GetSortMode(long* mode) override;
    STDMETHODIMP SetSelectionPath(IQvxTreeNode* path) override;
    STDMETHODIMP GetSelectionPath(IQvxTreeNode** path) override;
    STDMETHODIMP SetCollapsed(BSTR name) override;
    QVX_RESERVED(5)
    QVX_RESERVED(6)
    STDMETHODIMP IsCollapsed(BSTR name, VARIANT_BOOL* collapsed) override;
    STDMETHODIMP SetExpanded(BSTR name) override;

private:
    void NotifyChanged();

    long SortMode = 2;
    std::set<std::wstring> Collapsed;
    CComPtr<IQvxTreeNode> Path;
};
