#include "host/io/import/check_geometry.h"

#include <cmath>

namespace host {
namespace {

Bool finite(const Vector& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

const char* faultOf(const PolygonObject& object) {
    const Int32 points = object.GetPointCount();
    for (const Vector& p : object.Points())
        if (!finite(p)) return "has points that are no finite numbers";
    for (const CPolygon& p : object.Polygons())
        for (Int32 k = 0; k < 4; ++k)
            if (p[k] < 0 || p[k] >= points) return "has polygons without points";
    const std::size_t polygons = object.Polygons().size();
    for (const BaseTag* tag = object.GetFirstTag(); tag; tag = tag->GetNext()) {
        const bool good = tag->GetType() == Tuvw      ? static_cast<const UVWTag*>(tag)->Data().size() == polygons
                          : tag->GetType() == Tnormal ? static_cast<const NormalTag*>(tag)->Data().size() == polygons
                          : tag->GetType() == Tvertexcolor
                              ? static_cast<const VertexTag*>(tag)->Data().size() == 4 * object.Points().size()
                              : true;
        if (!good) return "has a tag of the wrong length";
    }
    return nullptr;
}

}  // namespace

Bool checkGeometry(const BaseDocument& document, String* fault) {
    const BaseObject* object = document.GetFirstObject();
    while (object) {
        const Matrix& m = object->GetMl();
        const char* wrong =
            finite(m.off) && finite(m.v1) && finite(m.v2) && finite(m.v3) ? nullptr : "has a broken matrix";
        if (!wrong && object->GetType() == Opolygon) wrong = faultOf(*static_cast<const PolygonObject*>(object));
        if (wrong) {
            if (fault) *fault = "\"" + object->GetName() + "\" " + wrong;
            return false;
        }
        if (object->GetDown()) {
            object = object->GetDown();
            continue;
        }
        while (object && !object->GetNext()) object = object->GetUp();
        if (object) object = object->GetNext();
    }
    return true;
}

}  // namespace host
