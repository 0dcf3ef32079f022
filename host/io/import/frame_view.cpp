#include "host/io/import/frame_view.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <vector>

namespace host {
namespace {

constexpr Float kLargest = 1e12;  ///< scene units; farther points are taken for errors
constexpr int kMaxDepth = 64;     ///< of instances of instances

bool usable(const Vector& p) {
    return std::abs(p.x) < kLargest && std::abs(p.y) < kLargest && std::abs(p.z) < kLargest;
}

void addBox(Bounds& to, const Bounds& box, const Matrix& m) {
    if (!box.isEmpty()) to.add(box.transformed(m));
}

class Collector {
public:
    explicit Collector(const BaseDocument& document) : document_(document) {}

    /// Everything that an object shows, in the space of its own local coordinates.
    Bounds contentOf(const BaseObject& object, int depth) {
        Bounds box = own(object, depth);
        for (const BaseObject* child = object.GetDown(); child; child = child->GetNext())
            if (child->GetRenderMode() != VisibilityMode::Off || depth > 0)
                addBox(box, contentOf(*child, depth), child->GetMl());
        return box;
    }

private:
    Bounds own(const BaseObject& object, int depth) {
        if (object.GetRenderMode() == VisibilityMode::Off && depth == 0) return {};
        Bounds box;
        if (object.GetType() == Opolygon) {
            const auto& points = static_cast<const PolygonObject&>(object);
            if (points.GetPolygonCount() > 0)
                for (const Vector& p : points.Points())
                    if (usable(p)) box.add(p);
        }
        for (const BaseObject* cache : {object.GetDeformCache() ? object.GetDeformCache() : object.GetCache()})
            for (; cache; cache = cache->GetNext()) addBox(box, contentOf(*cache, depth), cache->GetMl());
        if (object.GetType() == Oinstance && box.isEmpty() && depth < kMaxDepth) {
            const BaseList2D* link = object.GetDataInstance()->GetLink(INSTANCEOBJECT_LINK, &document_);
            if (link && link->IsInstanceOf(Obase)) {
                const auto* original = static_cast<const BaseObject*>(link);
                const auto known = originals_.find(original);
                if (known != originals_.end()) {
                    box = known->second;
                } else {
                    originals_.emplace(original, Bounds());  // what instances itself is met by nothing
                    box = contentOf(*original, depth + 1);
                    originals_[original] = box;
                }
            }
        }
        return box;
    }

    const BaseDocument& document_;
    std::unordered_map<const BaseObject*, Bounds> originals_;
};

}  // namespace

Bounds sceneBounds(const BaseDocument& document) {
    Collector collector(document);
    Bounds all;
    for (const BaseObject* object = document.GetFirstObject(); object; object = object->GetNext())
        addBox(all, collector.contentOf(*object, 0), object->GetMl());
    return all;
}

Bool frameView(BaseDocument& document, Float aspect) {
    const Bounds bounds = sceneBounds(document);
    if (bounds.isEmpty()) return false;
    if (!(aspect > 0)) {
        const BaseContainer* data = document.GetActiveRenderData()->GetDataInstance();
        const Float width = data->GetInt32(RDATA_XRES, 1280), height = data->GetInt32(RDATA_YRES, 720);
        aspect = width > 0 && height > 0 ? width / height : 16.0 / 9.0;
    }
    constexpr Float kHeading = 35 / kDegreesPerRadian, kPitch = 20 / kDegreesPerRadian, kWidth = 40 / kDegreesPerRadian;
    constexpr Float kMargin = 0.95;  // of the picture that the content may fill
    // The camera's axes: it looks along z, from the right of the content and down on it.
    Matrix axes;
    axes.v3 = Vector(-std::sin(kHeading) * std::cos(kPitch), -std::sin(kPitch), std::cos(kHeading) * std::cos(kPitch));
    axes.v1 = Cross(Vector(0, 1, 0), axes.v3).GetNormalized();
    axes.v2 = Cross(axes.v3, axes.v1);

    const Vector centre = bounds.centre(), half = bounds.radius();
    const Float across = std::tan(kWidth / 2) * kMargin, upwards = across / aspect;
    Float distance = 0;
    for (int corner = 0; corner < 8; ++corner) {
        const Vector p(corner & 1 ? half.x : -half.x, corner & 2 ? half.y : -half.y, corner & 4 ? half.z : -half.z);
        const Float depth = Dot(p, axes.v3);
        distance = std::max(
            {distance, std::abs(Dot(p, axes.v1)) / across - depth, std::abs(Dot(p, axes.v2)) / upwards - depth});
    }
    if (!(distance > 1e-9)) distance = 1;  // a single point
    axes.off = centre - axes.v3 * distance;

    BaseObject* camera = document.GetActiveBaseDraw()->GetEditorCamera();
    camera->SetMl(axes);
    constexpr Float kSensorWidth = 36;
    BaseContainer& data = *camera->GetDataInstance();
    data.SetInt32(CAMERA_PROJECTION, 0);
    data.SetFloat(CAMERAOBJECT_APERTURE, kSensorWidth);
    data.SetFloat(CAMERA_FOCUS, kSensorWidth / (2 * std::tan(kWidth / 2)));
    data.SetFloat(CAMERAOBJECT_FOV, kWidth);
    data.SetFloat(CAMERAOBJECT_TARGETDISTANCE, distance);
    return true;
}

}  // namespace host
