#include "plugin/scene/camera_tag.h"

namespace lumora {

Bool LumoraCameraTag::SetDParameter(BaseList2D* node, const DescID& id, const GeData& value) {
    constexpr Float kProduct = 2.5;
    const bool aperture = id == DescID(CAMERATAG_APERTURE);
    if (!aperture && id != DescID(CAMERATAG_FSTOP)) return false;
    // The other of the two follows. A closed lens has no f-stop, which then stays.
    if (const Float number = value.GetFloat(); number > 0)
        node->GetDataInstance()->SetFloat(aperture ? CAMERATAG_FSTOP : CAMERATAG_APERTURE, kProduct / number);
    return false;  // the host stores the value itself
}

}  // namespace lumora
