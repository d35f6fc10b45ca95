#include "sim/PropertyViewState.h"

// --- CPathNode ---

HRESULT CPathNode::Copy(IQvxTreeNode* from, CComPtr<IQvxTreeNode>& to)
{
    to = nullptr;
    if (!from) return S_OK;
    CObjectPtr<CPathNode> node;
    HRESULT hr = CreateObject<CPathNode, IQvxTreeNode>(node);
    if (FAILED(hr)) return hr;
    from->GetData(&node->Data);
    from->GetName(node->Name.Out());
    from->GetIndex(&node->Index);
    CComPtr<IQvxTreeNode> child;
    if (from->GetChild(child.Out()) == S_OK && child) {
        hr = Copy(child, node->Child);
        if (FAILED(hr)) return hr;
    }
    to = static_cast<IQvxTreeNode*>(node.Get());
    return S_OK;
}

STDMETHODIMP CPathNode::GetData(__int64* data)
{
    if (!data) return E_POINTER;
    *data = Data;
    return S_OK;
}

STDMETHODIMP CPathNode::GetName(BSTR* name)
{
    return Name.CopyTo(name);
}

STDMETHODIMP CPathNode::GetIndex(long* index)
{
    if (!index) return E_POINTER;
    *index = Index;
    return S_OK;
}

STDMETHODIMP CPathNode::GetChild(IQvxTreeNode** child)
{
    if (!child) return E_POINTER;
    HRESULT hr = Child.CopyTo(child);
    return FAILED(hr) ? hr : (Child ? S_OK : S_FALSE);
}

// --- CPropertyViewState ---

CPropertyViewState::CPropertyViewState() : CNotificationsImpl({__uuidof(IQvxSharedStateNotifications)}) {}

void CPropertyViewState::NotifyChanged()
{
    CComPtr<IUnknown> self(ControllingUnknown());
    IUnknown* identity = static_cast<IQvxPropertyViewState*>(this);
    Notifier.Fire<IQvxSharedStateNotifications>({__uuidof(IQvxSharedStateNotifications)},
        [&](IQvxSharedStateNotifications* sink) { sink->OnSharedStateChanged(identity); });
}

STDMETHODIMP CPropertyViewState::SetSortMode(long mode)
{
    QVX_HOST_CALL("IQvxPropertyViewState.SetSortMode");
    if (mode != 1 && mode != 2) return E_INVALIDARG;
    if (mode == SortMode) return S_OK;
    SortMode = mode;
    NotifyChanged();
    return S_OK;
}

STDMETHODIMP CPropertyViewState::GetSortMode(long* mode)
{
    QVX_HOST_CALL("IQvxPropertyViewState.GetSortMode");
    if (!mode) return E_POINTER;
    *mode = SortMode;
    return S_OK;
}

STDMETHODIMP CPropertyViewState::SetSelectionPath(IQvxTreeNode* path)
{
    QVX_HOST_CALL("IQvxPropertyViewState.SetSelectionPath");
    CComPtr<IQvxTreeNode> copy;
    HRESULT hr = CPathNode::Copy(path, copy);
    if (FAILED(hr)) return hr;
    Path = copy;
    NotifyChanged();
    return S_OK;
}

STDMETHODIMP CPropertyViewState::GetSelectionPath(IQvxTreeNode** path)
{
    QVX_HOST_CALL("IQvxPropertyViewState.GetSelectionPath");
    if (!path) return E_POINTER;
    HRESULT hr = Path.CopyTo(path);
    return FAILED(hr) ? hr : (Path ? S_OK : S_FALSE);
}

STDMETHODIMP CPropertyViewState::SetCollapsed(BSTR name)
{
    QVX_HOST_CALL("IQvxPropertyViewState.SetCollapsed");
    if (!name) return E_INVALIDARG;
    if (Collapsed.insert(name).second) NotifyChanged();
    return S_OK;
}

STDMETHODIMP CPropertyViewState::IsCollapsed(BSTR name, VARIANT_BOOL* collapsed)
{
    QVX_HOST_CALL("IQvxPropertyViewState.IsCollapsed");
    if (!collapsed) return E_POINTER;
    *collapsed = ToVariantBool(name && Collapsed.count(name));
    return S_OK;
}

STDMETHODIMP CPropertyViewState::SetExpanded(BSTR name)
{
    QVX_HOST_CALL("IQvxPropertyViewState.SetExpanded");
    if (!name) return E_INVALIDARG;
    if (Collapsed.erase(name)) NotifyChanged();
    return S_OK;
}
