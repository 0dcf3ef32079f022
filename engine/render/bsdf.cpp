#include "engine/render/bsdf.h"

#include "engine/render/bsdf/diffuse.h"
#include "engine/render/bsdf/fresnel.h"
#include "engine/render/bsdf/sheen.h"
#include "engine/render/sampling.h"

namespace Lumora::engine {

namespace {

/// Distributions narrower than this are mirrors.
constexpr float kMinAlpha = 1e-3f;
/// Indices nearer to one than this bend nothing.
constexpr float kNoBend = 2e-3f;
/// On smoother surfaces next to no light bounces between facets.
constexpr float kMinBouncing = 0.01f;
/// Share of the light between the facets of clear surfaces that finds its way through.
constexpr float kBouncesThrough = 0.9f;

constexpr Float3 kOne{1.0f, 1.0f, 1.0f};

Float3 toLocal(const Frame& f, Float3 v) {
    return {dot(f.s, v), dot(f.t, v), dot(f.n, v)};
}

Float3 least(Float3 a, Float3 b) {
    return {std::min(a.x, b.x), std::min(a.y, b.y), std::min(a.z, b.z)};
}

Float3 divide(Float3 a, Float3 b) {
    return {a.x / b.x, a.y / b.y, a.z / b.z};
}

Float3 refract(Float3 wo, Float3 h, float eta, float cosI, float cosT) {
    return h * (cosI / eta - cosT) - wo * (1.0f / eta);
}

}  // namespace

void Bsdf::prepare(Float3 wo, Float3 normal, Float3 tangent) {
    face(wo, normal);
    if (tangent != Float3{}) {
        const Float3 s = normalize(tangent - frame_.n * dot(tangent, frame_.n));
        if (s != Float3{}) {
            frame_.s = s;
            frame_.t = cross(frame_.n, s);
        }
    }
    wo_ = toLocal(frame_, wo);
    wo_.z = std::max(wo_.z, 1e-5f);
    if (m_.stepped) {
        albedo_ = m_.toon.diffuse;
        chance_[kToon] = 1.0f;
        lobes_ = kDiffuseLobe;
        return;
    }
    const bool diffuseOnly = isBlack(m_.reflection) && m_.clear <= 0.0f && m_.metallic <= 0.0f && isBlack(m_.coating) &&
                             isBlack(m_.sheen) && isBlack(m_.diffuseTransmission);
    if (diffuseOnly) {
        albedo_ = m_.diffuse;
        if (isBlack(m_.diffuse)) return;
        chance_[kDiffuse] = 1.0f;
        lobes_ = kDiffuseLobe;
        plain_ = !(m_.diffuseRoughness > 0.0f);
        return;
    }
    prepareLayers();
    prepareFacets();
}

void Bsdf::prepareLayers() {
    const AlbedoTables* tables = nullptr;
    coated_ = !isBlack(m_.coating) && std::abs(m_.coatingEta - 1.0f) > 1e-4f;
    sheened_ = !isBlack(m_.sheen);
    layered_ = coated_ || sheened_;
    if (layered_) tables = &AlbedoTables::get(BrdfModel::Ggx);
    if (coated_) {
        smoothCoating_ = m_.coatingAlpha < kMinAlpha;
        coatingFacets_ = Microfacets(BrdfModel::Ggx, m_.coatingAlpha, m_.coatingAlpha);
        coatingCurve_ = tables->reflection(smoothCoating_ ? 0.0f : m_.coatingAlpha, std::max(m_.coatingEta, 1.0001f));
    }
    if (sheened_) {
        m_.sheenRoughness = std::clamp(m_.sheenRoughness, kMinSheenRoughness, 1.0f);
        sheenCurve_ = tables->sheen(m_.sheenRoughness, sheenScale_);
    }
    if (layered_) layersPassView_ = layersPass(wo_.z);
}

void Bsdf::prepareFacets() {
    const bool dielectric = m_.metallic < 1.0f && (!isBlack(m_.reflection) || m_.clear > 0.0f);
    smooth_ = std::max(m_.ax, m_.ay) < kMinAlpha;
    if (dielectric && m_.clear > 0.0f && std::abs(m_.eta - 1.0f) < kNoBend) smooth_ = true;
    if (m_.clear > 0.0f && m_.brdf == BrdfModel::Ward) m_.brdf = BrdfModel::Beckmann;  // it knows no refraction
    const float ax = std::max(m_.ax, 0.2f * kMinAlpha), ay = std::max(m_.ay, 0.2f * kMinAlpha);
    facets_ = Microfacets(m_.brdf, ax, ay);
    const float alpha = smooth_ ? 0.0f : std::min(std::sqrt(ax * ay), 1.0f);

    Float3 reflected, refracted;
    fresnel(wo_.z, reflected, refracted);
    std::array<float, kParts> weights{};
    const float pass = layered_ ? average(layersPassView_) : 1.0f;

    // What lies below a reflecting layer gets the rest of the light.
    Float3 body = m_.diffuse * (1.0f - m_.metallic) * (1.0f - m_.clear);
    if (dielectric && !isBlack(m_.reflection) && !isBlack(body)) {
        covered_ = true;
        if (m_.filmWidth <= 0.0f) {
            belowReflection_ = AlbedoTables::get(m_.brdf).reflection(alpha, surfaceEta());
            const Float3 seen = diffuseShare(wo_.z);
            diffuseScale_ = divide(seen, kOne - m_.reflection * belowReflection_.mean);
            body *= seen;
        } else {
            diffuseScale_ = diffuseShare(wo_.z);
            body *= diffuseScale_;
        }
        m_.diffuse *= (1.0f - m_.metallic) * (1.0f - m_.clear);
    } else {
        m_.diffuse = body;
    }
    weights[kDiffuse] = average(body) * pass;
    weights[kDiffuseThrough] = average(m_.diffuseTransmission) * pass;
    albedo_ = body + m_.diffuseTransmission;

    const bool facets = !isBlack(reflected) || !isBlack(refracted);
    if (facets) weights[kFacets] = (average(reflected) + average(refracted)) * pass;
    albedo_ += reflected + refracted;

    const bool compensated = m_.brdf == BrdfModel::Compensated || m_.brdf == BrdfModel::CompensatedBeckmann;
    if (facets && !smooth_ && compensated && alpha > kMinBouncing) {
        const AlbedoTables& tables = AlbedoTables::get(m_.brdf);
        if (m_.metallic > 0.0f) {
            mirrorCurve_ = tables.mirror(alpha);
            const Float3 head = metalReflectance(1.0f), mean = head + (kOne - head) * (1.0f / 21.0f);
            const auto multiple = [e = mirrorCurve_.mean](float f) { return f * f * e / (1.0f - f * (1.0f - e)); };
            bouncesMetal_ = Float3{multiple(mean.x), multiple(mean.y), multiple(mean.z)} *
                            (m_.metallic / std::max(1.0f - mirrorCurve_.mean, 1e-4f));
            weights[kBounces] += average(bouncesMetal_) * (1.0f - mirrorCurve_.mean) * (1.0f - mirrorCurve_.at(wo_.z));
        }
        if (m_.clear > 0.0f) {
            glassCurve_ = tables.glass(alpha, m_.eta);
            glassCurveBeyond_ = tables.glass(alpha, 1.0f / m_.eta);
            // The shares of the two sides differ by the squared index, as the directions they spread over do.
            const float lost = std::max(1.0f - glassCurve_.mean, 1e-4f);
            const float lostBeyond = std::max(1.0f - glassCurveBeyond_.mean, 1e-4f);
            const float e2 = m_.eta * m_.eta;
            bouncesThrough_ = kBouncesThrough * lostBeyond * e2 / (lost + lostBeyond * e2);
            const float share = 1.0f - m_.metallic;
            bouncesReflected_ = m_.reflection * (m_.clear * share * (1.0f - bouncesThrough_) / lost);
            bouncesRefracted_ = m_.refraction * (share * bouncesThrough_ / lostBeyond);
            weights[kBounces] += share * m_.clear * (1.0f - glassCurve_.at(wo_.z));
            if (m_.metallic >= 1.0f) bouncesThrough_ = 0.0f;
        }
        weights[kBounces] *= pass;
    }
    if (coated_) weights[kCoating] = average(m_.coating) * coatingCurve_.at(wo_.z);
    if (sheened_) weights[kSheen] = average(m_.sheen * coatingPass(wo_.z)) * sheenCurve_.at(wo_.z);
    if (layered_) albedo_ = albedo_ * layersPassView_ + splat(weights[kCoating] + weights[kSheen]);
    choose(weights);
}

void Bsdf::choose(const std::array<float, kParts>& weights) {
    float sum = 0.0f;
    for (const float w : weights) sum += w;
    lobes_ = 0;
    if (!(sum > 0.0f)) {
        chance_ = {};
        return;
    }
    for (std::size_t i = 0; i < kParts; ++i) chance_[i] = weights[i] > 1e-4f * sum ? weights[i] / sum : 0.0f;
    sum = 0.0f;
    for (const float c : chance_) sum += c;
    for (float& c : chance_) c /= sum;
    if (chance_[kToon] + chance_[kDiffuse] + chance_[kDiffuseThrough] > 0.0f) lobes_ |= kDiffuseLobe;
    if (chance_[kFacets] > 0.0f) lobes_ |= smooth_ ? kSpecularLobe : kGlossyLobe;
    if (chance_[kCoating] > 0.0f) lobes_ |= smoothCoating_ ? kSpecularLobe : kGlossyLobe;
    if (chance_[kSheen] + chance_[kBounces] > 0.0f) lobes_ |= kGlossyLobe;
    if (chance_[kDiffuseThrough] > 0.0f || (m_.clear > 0.0f && chance_[kFacets] > 0.0f)) lobes_ |= kTransmissionLobe;
}

void Bsdf::leaveOut(int lobes) {
    const int allowed = ~lobes;
    if (plain_) {
        if (!(allowed & kDiffuseLobe)) {
            lobes_ = 0;
            plain_ = false;
        }
        return;
    }
    std::array<float, kParts> weights = chance_;
    if (!(allowed & kDiffuseLobe)) weights[kToon] = weights[kDiffuse] = weights[kDiffuseThrough] = 0.0f;
    if (!(allowed & kGlossyLobe)) weights[kSheen] = weights[kBounces] = 0.0f;
    if (!(allowed & (smooth_ ? kSpecularLobe : kGlossyLobe))) weights[kFacets] = 0.0f;
    if (!(allowed & (smoothCoating_ ? kSpecularLobe : kGlossyLobe))) weights[kCoating] = 0.0f;
    if (weights != chance_) choose(weights);
}

Float3 Bsdf::metalReflectance(float cosine) const {
    if (m_.filmWidth > 0.0f) {
        Float3 n = m_.metalIndex, k = m_.metalExtinction, tint = m_.metal;
        if (m_.indexMode == IndexMode::Artistic) {
            // The index of a dielectric of that reflectance stands for the unknown one.
            const auto index = [](float f0) {
                const float r = std::sqrt(std::clamp(f0, 0.0f, 0.98f));
                return (1.0f + r) / (1.0f - r);
            };
            n = {index(m_.metal.x), index(m_.metal.y), index(m_.metal.z)};
            k = {};
            tint = kOne;
        }
        return tint * fresnelFilm(cosine, m_.filmWidth, m_.filmIndex, n, k);
    }
    switch (m_.indexMode) {
        case IndexMode::Artistic:
            return fresnelSchlick(cosine, m_.metal);
        case IndexMode::IndexColor:
            return m_.metal * fresnelConductor(cosine, m_.metalIndex.x, m_.metalExtinction.x);
        case IndexMode::SpectralIndex:
            break;
    }
    return m_.metal * Float3{fresnelConductor(cosine, m_.metalIndex.x, m_.metalExtinction.x),
                             fresnelConductor(cosine, m_.metalIndex.y, m_.metalExtinction.y),
                             fresnelConductor(cosine, m_.metalIndex.z, m_.metalExtinction.z)};
}

void Bsdf::fresnel(float cosine, Float3& reflected, Float3& refracted) const {
    reflected = refracted = {};
    if (m_.metallic > 0.0f) reflected = metalReflectance(cosine) * m_.metallic;
    const float share = 1.0f - m_.metallic;
    if (!(share > 0.0f)) return;
    float cosT;
    const float eta = surfaceEta();
    Float3 f = splat(fresnelDielectric(cosine, eta, cosT));
    // The film lies on the side of the air.
    if (m_.filmWidth > 0.0f && cosT > 0.0f) {
        const bool inside = eta < 1.0f;
        f = fresnelFilm(inside ? cosT : cosine, m_.filmWidth, m_.filmIndex, splat(inside ? 1.0f / eta : eta), {});
    }
    reflected += m_.reflection * f * share;
    if (m_.clear > 0.0f && cosT > 0.0f) refracted = m_.refraction * (kOne - f) * share;
}

/// Share of light at this angle that the reflecting layer lets through to the diffuse body.
Float3 Bsdf::diffuseShare(float cosine) const {
    if (m_.filmWidth > 0.0f) {
        const Float3 f = fresnelFilm(cosine, m_.filmWidth, m_.filmIndex, splat(std::max(m_.eta, 1.0f / m_.eta)), {});
        return kOne - m_.reflection * f;
    }
    return kOne - m_.reflection * belowReflection_.at(cosine);
}

Float3 Bsdf::coatingPass(float cosine) const {
    return coated_ ? kOne - m_.coating * coatingCurve_.at(cosine) : kOne;
}

Float3 Bsdf::layersPass(float cosine) const {
    const Float3 pass = coatingPass(cosine);
    return sheened_ ? pass * (1.0f - maxComponent(m_.sheen) * sheenCurve_.at(cosine)) : pass;
}

Float3 Bsdf::facetsValue(Float3 wi, float& pdf) const {
    const bool above = wi.z > 0.0f;
    if (!above && !(m_.clear > 0.0f)) return {};
    Float3 h = above ? wo_ + wi : wo_ + wi * m_.eta;
    if (h.z < 0.0f) h = -h;
    h = normalize(h);
    const float oh = dot(wo_, h), ih = dot(wi, h);
    if (!(oh > 0.0f) || (ih > 0.0f) != above || !(h.z > 0.0f)) return {};
    const float density = facets_.density(h), facetPdf = facets_.pdf(wo_, h, density);
    Float3 reflected, refracted;
    fresnel(oh, reflected, refracted);
    const float r = average(reflected), t = average(refracted);
    if (!(r + t > 0.0f)) return {};
    if (above) {
        pdf += chance_[kFacets] * facetPdf / (4.0f * oh) * (r / (r + t));
        return reflected * facets_.reflection(wo_, wi, h, density);
    }
    const float root = oh + m_.eta * ih, jacobian = m_.eta * m_.eta * std::abs(ih) / std::max(root * root, 1e-20f);
    pdf += chance_[kFacets] * facetPdf * jacobian * (t / (r + t));
    return refracted * (density * facets_.masking(wo_, wi, h) * oh / wo_.z * jacobian);
}

Float3 Bsdf::bouncesValue(Float3 wi, float& pdf) const {
    const float z = std::abs(wi.z);
    const float share = wi.z > 0.0f ? 1.0f - bouncesThrough_ : bouncesThrough_;
    pdf += chance_[kBounces] * share * z * kInvPi;
    Float3 f{};
    if (wi.z > 0.0f) {
        if (m_.metallic > 0.0f) f += bouncesMetal_ * ((1.0f - mirrorCurve_.at(wo_.z)) * (1.0f - mirrorCurve_.at(z)));
        if (m_.clear > 0.0f) f += bouncesReflected_ * ((1.0f - glassCurve_.at(wo_.z)) * (1.0f - glassCurve_.at(z)));
    } else if (m_.clear > 0.0f) {
        f = bouncesRefracted_ * ((1.0f - glassCurve_.at(wo_.z)) * (1.0f - glassCurveBeyond_.at(z)));
    }
    return f * (z * kInvPi);
}

Float3 Bsdf::coatingValue(Float3 wi, float& pdf) const {
    const Float3 h = normalize(wo_ + wi);
    const float oh = dot(wo_, h);
    if (!(oh > 0.0f)) return {};
    const float density = coatingFacets_.density(h);
    pdf += chance_[kCoating] * coatingFacets_.pdf(wo_, h, density) / (4.0f * oh);
    float cosT;
    const float f = fresnelDielectric(oh, std::max(m_.coatingEta, 1.0001f), cosT);
    return m_.coating * (f * coatingFacets_.reflection(wo_, wi, h, density));
}

Float3 Bsdf::value(Float3 wi, Float3 direction, Lobes which, float& pdf) const {
    pdf = 0.0f;
    Float3 f{};
    const bool above = wi.z > 0.0f;
    if (chance_[kToon] > 0.0f) {
        if (!above) return {};
        pdf = 0.5f * kInvPi;
        return which & kDiffuseLobe ? m_.toon.value(wo_, wi) : Float3{};
    }
    if (above && chance_[kDiffuse] > 0.0f) {
        pdf += chance_[kDiffuse] * wi.z * kInvPi;
        Float3 d = orenNayar(m_.diffuse, m_.diffuseRoughness, wo_, wi) * wi.z;
        if (covered_)
            d *= m_.filmWidth > 0.0f ? least(diffuseScale_, diffuseShare(wi.z)) : diffuseScale_ * diffuseShare(wi.z);
        f += d * terminator(wi, direction);
    }
    if (!above && chance_[kDiffuseThrough] > 0.0f) {
        pdf += chance_[kDiffuseThrough] * -wi.z * kInvPi;
        f += m_.diffuseTransmission * (-wi.z * kInvPi);
    }
    if (!(which & kDiffuseLobe)) f = {};
    const Float3 diffuse = f;
    if (chance_[kFacets] > 0.0f && !smooth_) f += facetsValue(wi, pdf);
    if (chance_[kBounces] > 0.0f) f += bouncesValue(wi, pdf);
    if (!(which & kGlossyLobe)) f = diffuse;
    if (layered_) f *= least(layersPassView_, layersPass(std::abs(wi.z)));
    Float3 top{};
    if (above && chance_[kSheen] > 0.0f) {
        pdf += chance_[kSheen] * (0.5f * kInvPi);
        top = m_.sheen * (sheenScale_ * sheenValue(m_.sheenRoughness, wo_, wi) * wi.z * terminator(wi, direction));
        if (coated_) top *= least(coatingPass(wo_.z), coatingPass(wi.z));
    }
    if (above && chance_[kCoating] > 0.0f && !smoothCoating_) top += coatingValue(wi, pdf);
    return which & kGlossyLobe ? f + top : f;
}

Float3 Bsdf::evaluateStack(Float3 toLight, float& pdf, Lobes which) const {
    pdf = 0.0f;
    if (!finite()) return {};
    const Float3 wi = toLocal(frame_, toLight);
    const bool above = wi.z > 0.0f;
    if ((dot(geometric_, toLight) > 0.0f) != above || std::abs(wi.z) < 1e-6f) return {};
    return value(wi, toLight, which, pdf);
}

/// A direction by a microfacet; false when it goes astray.
bool Bsdf::sampleFacets(Float2 u, float choice, Float3& wi) const {
    const Float3 h = facets_.sample(wo_, u);
    const float oh = dot(wo_, h);
    if (!(oh > 0.0f)) return false;
    Float3 reflected, refracted;
    fresnel(oh, reflected, refracted);
    const float r = average(reflected), t = average(refracted);
    if (choice * (r + t) < r) {
        wi = h * (2.0f * oh) - wo_;
        return wi.z > 0.0f;
    }
    float cosT;
    fresnelDielectric(oh, m_.eta, cosT);
    if (!(cosT > 0.0f)) return false;
    wi = refract(wo_, h, m_.eta, oh, cosT);
    return wi.z < 0.0f;
}

BsdfSample Bsdf::sampleSmooth(float choice) const {
    BsdfSample s;
    Float3 reflected, refracted;
    fresnel(wo_.z, reflected, refracted);
    const float r = average(reflected), t = average(refracted);
    Float3 pass = layered_ ? layersPassView_ : kOne;
    Float3 wi = {-wo_.x, -wo_.y, wo_.z};
    s.lobe = kSpecularLobe;
    if (choice * (r + t) < r) {
        s.weight = reflected * pass * ((r + t) / (r * chance_[kFacets]));
    } else {
        if (!(t > 0.0f)) return s;
        float cosT;
        fresnelDielectric(wo_.z, m_.eta, cosT);
        wi = {-wo_.x / m_.eta, -wo_.y / m_.eta, -cosT};
        if (layered_) pass = least(pass, layersPass(cosT));
        s.weight = refracted * pass * ((r + t) / (t * chance_[kFacets]));
        s.lobe |= kTransmissionLobe;
        s.eta = m_.eta;
    }
    s.direction = normalize(frame_.toWorld(wi));
    if ((dot(geometric_, s.direction) > 0.0f) == s.transmitted()) s.weight = {};
    return s;
}

BsdfSample Bsdf::sampleSmoothCoating() const {
    BsdfSample s;
    float cosT;
    const float f = fresnelDielectric(wo_.z, std::max(m_.coatingEta, 1.0001f), cosT);
    s.lobe = kSpecularLobe;
    s.direction = normalize(frame_.toWorld({-wo_.x, -wo_.y, wo_.z}));
    if (dot(geometric_, s.direction) > 0.0f) s.weight = m_.coating * (f / chance_[kCoating]);
    return s;
}

BsdfSample Bsdf::sampleStack(const float u[3]) const {
    BsdfSample s;
    Float3 wi;
    if (!lobes_) return s;
    float pick = u[2];
    int part = 0, last = 0;
    for (part = 0; part < kParts; ++part) {
        const float c = chance_[static_cast<std::size_t>(part)];
        if (!(c > 0.0f)) continue;
        last = part;
        if (pick < c) break;
        pick -= c;
    }
    part = std::min(part, last);
    const float choice = std::min(std::max(pick, 0.0f) / chance_[static_cast<std::size_t>(part)], 0x1.fffffep-1f);
    s.lobe = kGlossyLobe;
    switch (part) {
        case kDiffuse:
        case kDiffuseThrough:
            wi = sampleCosineHemisphere({u[0], u[1]});
            if (part == kDiffuseThrough) wi.z = -wi.z;
            s.lobe = kDiffuseLobe;
            break;
        case kFacets:
            if (smooth_) return sampleSmooth(choice);
            if (!sampleFacets({u[0], u[1]}, choice, wi)) return s;
            break;
        case kBounces:
            wi = sampleCosineHemisphere({u[0], u[1]});
            if (choice < bouncesThrough_) wi.z = -wi.z;
            break;
        case kToon:
        case kSheen: {
            if (part == kToon) s.lobe = kDiffuseLobe;
            const float r = std::sqrt(std::max(0.0f, 1.0f - u[0] * u[0]));
            const Float2 turn = turnCosSin(u[1]);
            wi = {r * turn.x, r * turn.y, u[0]};
            break;
        }
        default: {
            if (smoothCoating_) return sampleSmoothCoating();
            const Float3 h = coatingFacets_.sample(wo_, {u[0], u[1]});
            wi = h * (2.0f * dot(wo_, h)) - wo_;
            if (!(wi.z > 0.0f)) return s;
            break;
        }
    }
    if (std::abs(wi.z) < 1e-6f) return s;
    s.direction = normalize(frame_.toWorld(wi));
    if (wi.z < 0.0f) {
        s.lobe |= kTransmissionLobe;
        if (part != kDiffuseThrough) s.eta = m_.eta;
    }
    if ((dot(geometric_, s.direction) > 0.0f) != (wi.z > 0.0f)) return s;
    const Float3 f = value(wi, s.direction, kAllLobes, s.pdf);
    if (s.pdf > 0.0f) s.weight = f * (1.0f / s.pdf);
    return s;
}

}  // namespace Lumora::engine
