#include "config/ChannelKey.h"
#include <climits>
#include <new>
#include <string_view>

namespace {

CBstr Copy(const wchar_t* text, UINT length)
{
    CBstr copy(std::wstring_view(text, length));
    if (!copy.Get()) throw std::bad_alloc();
    return copy;
}

int Sign(int value)
{
    return (value > 0) - (value < 0);
}

// In the user's locale, as the host's lists show names; 0 for equal.
int CompareLocale(const wchar_t* a, const wchar_t* b)
{
    const int result = CompareStringW(LOCALE_USER_DEFAULT, SORT_STRINGSORT, a, -1, b, -1);
    return result == 0 ? 0 : result - CSTR_EQUAL;
}

CComPtr<IQvxUnitConverter> MakeConverter()
{
    CComPtr<IQvxUnitConverter> converter;
    if (FAILED(CoCreateInstance(CLSID_QvxUnitConverter, nullptr, CLSCTX_ALL, __uuidof(IQvxUnitConverter),
                                converter.OutVoid())))
        return nullptr;
    return converter;
}

CBstr QuantityText(IQvxUnitConverter* converter, long id)
{
    CBstr text;
    if (converter && FAILED(converter->GetQuantityText(id, text.Out()))) text = CBstr();
    return text;
}

// Two ids of the same text: a known id before an unknown one; both known by `compareTexts`,
// neither by value.
template <class CompareTexts>
int CompareIds(IQvxUnitConverter* converter, long a, long b, CompareTexts compareTexts)
{
    const CBstr textA = QuantityText(converter, a);
    const CBstr textB = QuantityText(converter, b);
    if (textA.Get() && !textB.Get()) return -1;
    if (!textA.Get() && textB.Get()) return 1;
    if (textA.Get() && textB.Get()) return compareTexts(textA, textB);
    return a < b ? -1 : 1;
}

} // namespace

CChannelKey::CChannelKey(const wchar_t* name) : CChannelKey(name, name ? UINT(wcslen(name)) : 0) {}

CChannelKey::CChannelKey(const wchar_t* name, UINT length)
{
    if (!name) return;
    FullName = Copy(name, length);
    const std::wstring_view text(name, length);
    const size_t close = text.find(L']');
    if (text.empty() || text[0] != L'[' || close == std::wstring_view::npos) return;
    Keyed = 1;
    Rest = Copy(name + close + 1, UINT(length - close - 1));
    // As far as digits go; an id too big for 32 bits stays at the largest one.
    long long id = 0;
    for (size_t i = 1; i < close && text[i] >= L'0' && text[i] <= L'9'; ++i) {
        id = id * 10 + (text[i] - L'0');
        if (id > LONG_MAX) {
            id = LONG_MAX;
            break;
        }
    }
    Id = long(id);
}

int CompareKeysOrdinal(const CChannelKey& a, const CChannelKey& b)
{
    if (a.IsKeyed() != b.IsKeyed()) return a.IsKeyed() ? 1 : -1;
    if (!a.IsKeyed()) return 0;
    const int rest = a.GetRest().View().compare(b.GetRest().View());
    if (rest != 0) return Sign(rest);
    if (a.GetId() == b.GetId()) return 0;
    const CComPtr<IQvxUnitConverter> converter = MakeConverter();
    return CompareIds(converter, a.GetId(), b.GetId(),
                      [](const CBstr& x, const CBstr& y) { return Sign(x.View().compare(y.View())); });
}

ChannelNameLess::ChannelNameLess() : Converter(MakeConverter()) {}

int ChannelNameLess::Compare(const CChannelKey& a, const CChannelKey& b) const
{
    int result = CompareLocale(a.GetText(), b.GetText());
    if (result == 0 && a.IsKeyed() && b.IsKeyed() && a.GetId() != b.GetId()) {
        result = CompareIds(Converter, a.GetId(), b.GetId(),
                            [](const CBstr& x, const CBstr& y) { return CompareLocale(x.c_str(), y.c_str()); });
    }
    if (result == 0 && a.IsKeyed() != b.IsKeyed()) result = a.IsKeyed() ? 1 : -1;
    if (result == 0) result = Sign(a.GetFullName().View().compare(b.GetFullName().View()));
    return result;
}

bool ChannelNameLess::operator()(const std::wstring& a, const std::wstring& b) const
{
    return Compare(CChannelKey(a.c_str(), UINT(a.size())), CChannelKey(b.c_str(), UINT(b.size()))) < 0;
}
