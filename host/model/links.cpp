// Weak links, and their translation in clones.
#include "host/model/link_anchor.h"
#include "host/sdk/custom_types.h"
#include "host/sdk/document.h"

namespace host {

void BaseLink::SetLink(const BaseList2D* target) {
    if (!target) {
        anchor_.reset();
        guid_ = 0;
        return;
    }
    if (!target->anchor_) {
        target->anchor_ = std::make_shared<Anchor>();
        target->anchor_->target = const_cast<BaseList2D*>(target);
    }
    anchor_ = target->anchor_;
    guid_ = target->guid_;
}

BaseList2D* BaseLink::ForceGetLink() const {
    return anchor_ ? anchor_->target : nullptr;
}

BaseList2D* BaseLink::GetLink(const BaseDocument* document) const {
    BaseList2D* target = ForceGetLink();
    if (!document || (target && target->document_ == document)) return target;
    return guid_ ? document->FindByGUID(guid_) : nullptr;
}

void BaseLink::Translate(const AliasTrans& translation) {
    if (BaseList2D* target = ForceGetLink()) {
        SetLink(translation.Translate(target));
    } else if (guid_ && translation.resolveIn_) {
        if (BaseList2D* found = translation.resolveIn_->FindByGUID(guid_)) SetLink(found);
    }
}

void BaseLink::SetUnresolved(UInt64 guid) {
    anchor_.reset();
    guid_ = guid;
}

void AliasTrans::Add(const BaseList2D* original, BaseList2D* clone) {
    if (clones_.insert_or_assign(original, clone).second) order_.emplace_back(original, clone);
}

BaseList2D* AliasTrans::Translate(BaseList2D* original) const {
    const auto found = clones_.find(original);
    return found == clones_.end() ? original : found->second;
}

void AliasTrans::translate(BaseContainer& container) const {
    for (BaseContainer::Entry& entry : container.entries_) {
        switch (entry.data.GetType()) {
            case DataType::Link: {
                BaseLink link = *entry.data.GetBaseLink();
                link.Translate(*this);
                entry.data = GeData(link);
                break;
            }
            case DataType::Container:
                translate(*entry.data.GetContainer());
                break;
            case DataType::Custom:
                entry.data.TranslateCustom(*this);
                break;
            default:
                break;
        }
    }
}

}  // namespace host
