// The documents that are open, in a list that the host owns.
#include <algorithm>
#include <vector>

#include "host/sdk/document.h"

namespace host {
namespace {

struct OpenDocuments {
    std::vector<BaseDocument*> all;
    BaseDocument* active = nullptr;
};

OpenDocuments& open() {
    static OpenDocuments documents;
    return documents;
}

}  // namespace

BaseDocument* GetActiveDocument() {
    return open().active;
}

BaseDocument* GetFirstDocument() {
    return open().all.empty() ? nullptr : open().all.front();
}

void InsertBaseDocument(BaseDocument* document) {
    if (!document) return;
    auto& all = open().all;
    if (std::find(all.begin(), all.end(), document) == all.end()) all.push_back(document);
    if (!open().active) open().active = document;
}

void SetActiveDocument(BaseDocument* document) {
    const auto& all = open().all;
    if (std::find(all.begin(), all.end(), document) != all.end()) open().active = document;
}

void KillDocument(BaseDocument*& document) {
    if (!document) return;
    auto& all = open().all;
    std::erase(all, document);
    if (open().active == document) open().active = all.empty() ? nullptr : all.back();
    BaseDocument::Free(document);
}

}  // namespace host
