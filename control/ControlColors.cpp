#include "control/ControlColors.h"
#include "com/AutomationTypes.h"

namespace {

// What the container's ambient property `index` answers, as a COLORREF.
bool AskContainer(IDispatch* ambient, int index, COLORREF& colour)
{
    if (!ambient) return false;
    DISPPARAMS none{};
    CVariant answer;
    if (FAILED(ambient->Invoke(index, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, answer.Out(),
                               nullptr, nullptr)))
        return false;
    CVariant number;
    if (FAILED(VariantChangeType(&number, &answer, 0, VT_I4))) return false;
    return SUCCEEDED(OleTranslateColor(OLE_COLOR(V_I4(&number)), nullptr, &colour));
}

} // namespace

COLORREF CControlColors::LookUpColour(IDispatch* ambient, int index)
{
    COLORREF colour = 0;
    if (AskContainer(ambient, index, colour)) return colour;
    return FallbackColour(index);
}

COLORREF CControlColors::FallbackColour(int index)
{
    switch (index) {
    case 2: return 0xD77800;
    case 3:
    case 11: return 0xFFFFFF;
    case 4:
    case 13: return 0xD0D0D0;
    case 5:
    case 7: return 0xA0A0A0;
    case 6: return 0x696969;
    case 8: return 0xC8C8C8;
    case 9: return 0xF0F0F0;
    case 10: return 0xFFE8CC;
    case 12: return 0;
    case 14: return CLR_INVALID;
    case DISPID_AMBIENT_BACKCOLOR: return 0xFFFFFF;
    case DISPID_AMBIENT_FORECOLOR: return 0;
    default: return 0;
    }
}
