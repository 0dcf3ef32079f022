#include "engine/compile/dependents.h"

#include <algorithm>

namespace Lumora::engine {

bool Dependents::uses(const Made& made, ItemUid uid) const {
    const auto it = made_.find(made);
    return it != made_.end() && std::binary_search(it->second.begin(), it->second.end(), uid);
}

void Dependents::tidy(ItemUid uid, Source& source) {
    std::erase_if(source.users, [&](const Made& user) { return !uses(user, uid); });
    const auto less = [](const Made& a, const Made& b) { return a.uid != b.uid ? a.uid < b.uid : a.as < b.as; };
    std::sort(source.users.begin(), source.users.end(), less);
    source.users.erase(std::unique(source.users.begin(), source.users.end()), source.users.end());
}

void Dependents::set(const Made& made, std::vector<ItemUid> sources) {
    std::sort(sources.begin(), sources.end());
    sources.erase(std::unique(sources.begin(), sources.end()), sources.end());
    if (!sources.empty() && sources.front() == 0) sources.erase(sources.begin());
    const auto known = made_.find(made);
    if (known == made_.end() && sources.empty()) return;
    const std::vector<ItemUid> before = known == made_.end() ? std::vector<ItemUid>{} : std::move(known->second);
    for (const ItemUid uid : sources) {
        if (std::binary_search(before.begin(), before.end(), uid)) continue;
        Source& source = sources_[uid];
        ++source.count;
        source.users.push_back(made);
    }
    if (sources.empty()) {
        made_.erase(known);
    } else if (known != made_.end()) {
        known->second = sources;
    } else {
        made_.emplace(made, sources);
    }
    for (const ItemUid uid : before) {
        if (std::binary_search(sources.begin(), sources.end(), uid)) continue;
        const auto it = sources_.find(uid);
        if (--it->second.count == 0) {
            released_.push_back(uid);
            sources_.erase(it);
        } else if (it->second.users.size() > 2 * it->second.count + 8) {
            tidy(uid, it->second);
        }
    }
}

void Dependents::clear() {
    *this = {};
}

std::unordered_set<Made, MadeHash> Dependents::concernedBy(const std::vector<ItemUid>& nodes) const {
    std::unordered_set<Made, MadeHash> out;
    std::vector<ItemUid> open = nodes;
    for (const ItemUid uid : nodes) {
        out.insert({uid, MadeAs::Texture});
        out.insert({uid, MadeAs::Material});
    }
    while (!open.empty()) {
        const auto it = sources_.find(open.back());
        open.pop_back();
        if (it == sources_.end()) continue;
        for (const Made& user : it->second.users) {
            if (out.insert(user).second && user.as != MadeAs::Single) open.push_back(user.uid);
        }
    }
    return out;
}

}  // namespace Lumora::engine
