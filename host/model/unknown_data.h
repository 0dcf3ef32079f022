// A compound value whose type nobody has registered: its bytes are kept, so that saving loses nothing.
#pragma once

#include <vector>

#include "host/sdk/ge_data.h"

namespace host {

class UnknownData : public CustomDataType {
public:
    explicit UnknownData(Int32 typeId) : typeId_(typeId) {}

    Int32 GetTypeId() const override { return typeId_; }
    Int32 GetLevel() const { return level_; }  ///< of the writer
    std::unique_ptr<CustomDataType> Clone(const AliasTrans* translation) const override;
    Bool Equals(const CustomDataType& other) const override;
    Bool Write(HyperFile& file) const override;
    Bool Read(HyperFile& file, Int32 level) override;

private:
    Int32 typeId_;
    Int32 level_ = 0;
    std::vector<UChar> bytes_;
};

}  // namespace host
