// GeData: one parameter value of any type. BaseContainer: an ordered list of values by id.
#pragma once

#include <memory>
#include <type_traits>
#include <unordered_map>
#include <variant>
#include <vector>

#include "host/sdk/base_time.h"
#include "host/sdk/string.h"
#include "host/sdk/types.h"
#include "host/sdk/vector.h"

namespace host {

class BaseContainer;
class BaseDocument;
class BaseLink;
class BaseList2D;
class HyperFile;
class AliasTrans;

enum class DataType : Int32 {
    Nil = 0,
    Int = 15,  ///< integers and switches
    Float = 19,
    Vector = 23,  ///< also colours
    Matrix = 25,
    String = 130,
    Filename = 131,
    Time = 132,
    Container = 133,
    Link = 134,
    Custom = 1000,  ///< a CustomDataType (gradient, in/exclude list, spline, raw bytes, plug-in data types)
};

/// Base of compound values: gradients, lists of objects, splines, bytes. Immutable when shared: change a clone.
class HOST_API CustomDataType {
public:
    virtual ~CustomDataType() = default;
    virtual Int32 GetTypeId() const = 0;
    virtual std::unique_ptr<CustomDataType> Clone(const AliasTrans* translation) const = 0;
    virtual Bool Equals(const CustomDataType& other) const = 0;
    virtual Bool Write(HyperFile& file) const = 0;
    virtual Bool Read(HyperFile& file, Int32 level) = 0;
};

class HOST_API GeData {
public:
    GeData();
    ~GeData();
    GeData(const GeData& other);
    GeData(GeData&& other) noexcept;
    GeData& operator=(const GeData& other);
    GeData& operator=(GeData&& other) noexcept;

    GeData(Bool value);
    GeData(Int32 value);
    GeData(UInt32 value);
    GeData(Int64 value);
    GeData(Float value);
    GeData(const Vector& value);
    GeData(const Matrix& value);
    GeData(const char* value);
    GeData(const String& value);
    GeData(const Filename& value);
    GeData(const BaseTime& value);
    GeData(const BaseContainer& value);
    GeData(const BaseLink& value);
    GeData(BaseList2D* target);  ///< a weak link
    GeData(std::shared_ptr<const CustomDataType> value);

    DataType GetType() const;
    Bool IsNil() const { return GetType() == DataType::Nil; }

    // Numbers convert among themselves; a value of another kind gives the fallback.
    Bool GetBool(Bool fallback = false) const { return GetInt64(fallback) != 0; }
    Int32 GetInt32(Int32 fallback = 0) const;
    Int64 GetInt64(Int64 fallback = 0) const;
    Float GetFloat(Float fallback = 0) const;
    Vector GetVector(const Vector& fallback = {}) const;
    Matrix GetMatrix(const Matrix& fallback = {}) const;
    String GetString(const String& fallback = {}) const;
    Filename GetFilename(const Filename& fallback = {}) const;
    BaseTime GetTime(const BaseTime& fallback = {}) const;
    const BaseContainer* GetContainer() const;  ///< null when of another type
    BaseContainer* GetContainer();
    const BaseLink* GetBaseLink() const;
    /// The linked element or null. With a document: its counterpart in that document (see BaseLink).
    BaseList2D* GetLink(const BaseDocument* document = nullptr) const;
    const CustomDataType* GetCustom(Int32 typeId) const;
    const CustomDataType* GetCustomOfAnyType() const;
    /// Translates the links inside a compound value.
    void TranslateCustom(const AliasTrans& translation);

    Bool operator==(const GeData& other) const;

private:
    using Box =
        std::variant<std::monostate, Int64, Float, Vector, std::unique_ptr<Matrix>, String, Filename, BaseTime,
                     std::unique_ptr<BaseContainer>, std::unique_ptr<BaseLink>, std::shared_ptr<const CustomDataType>>;
    Box value_;
};

/// Values by id, in the order in which the ids were first set. Ids need not be unique when InsData is used (menus).
/// Look-up is a scan up to 16 entries and a hash above. Carries a counter that every change raises.
/// Reading from several threads at once is allowed.
class HOST_API BaseContainer {
public:
    BaseContainer() = default;
    explicit BaseContainer(Int32 id) : id_(id) {}
    BaseContainer(const BaseContainer& other);  ///< the counter too
    BaseContainer(BaseContainer&& other) noexcept;
    /// Takes over the values. The counter of this container goes on counting: it rises when the values differ.
    BaseContainer& operator=(const BaseContainer& other);
    BaseContainer& operator=(BaseContainer&& other);
    ~BaseContainer() = default;

    Int32 GetId() const { return id_; }
    void SetId(Int32 id) { id_ = id; }
    Int32 GetCount() const { return static_cast<Int32>(entries_.size()); }
    /// Own changes and those of all containers inside. Only grows.
    UInt32 GetDirty() const;
    void FlushAll();

    /// The first value of that id, or null.
    const GeData* FindData(Int32 id) const;
    /// A value written through this pointer is not counted: SetData counts.
    GeData* FindData(Int32 id);
    GeData GetData(Int32 id) const;
    Bool Has(Int32 id) const { return FindData(id) != nullptr; }
    Bool GetBool(Int32 id, Bool fallback = false) const;
    Int32 GetInt32(Int32 id, Int32 fallback = 0) const;
    Int64 GetInt64(Int32 id, Int64 fallback = 0) const;
    Float GetFloat(Int32 id, Float fallback = 0) const;
    Vector GetVector(Int32 id, const Vector& fallback = {}) const;
    Matrix GetMatrix(Int32 id, const Matrix& fallback = {}) const;
    String GetString(Int32 id, const String& fallback = {}) const;
    Filename GetFilename(Int32 id, const Filename& fallback = {}) const;
    BaseTime GetTime(Int32 id, const BaseTime& fallback = {}) const;
    BaseContainer GetContainer(Int32 id) const;
    const BaseContainer* GetContainerInstance(Int32 id) const;
    BaseContainer* GetContainerInstance(Int32 id);
    BaseList2D* GetLink(Int32 id, const BaseDocument* document = nullptr) const;

    /// Replaces the first value of that id or appends it. Setting an equal value leaves the counter alone.
    void SetData(Int32 id, GeData value);
    template <typename T>
    void Set(Int32 id, T&& value) {
        SetData(id, GeData(std::forward<T>(value)));
    }
    void SetBool(Int32 id, Bool value) { SetData(id, GeData(value)); }
    void SetInt32(Int32 id, Int32 value) { SetData(id, GeData(value)); }
    void SetInt64(Int32 id, Int64 value) { SetData(id, GeData(value)); }
    void SetFloat(Int32 id, Float value) { SetData(id, GeData(value)); }
    void SetVector(Int32 id, const Vector& value) { SetData(id, GeData(value)); }
    void SetMatrix(Int32 id, const Matrix& value) { SetData(id, GeData(value)); }
    void SetString(Int32 id, const String& value) { SetData(id, GeData(value)); }
    void SetFilename(Int32 id, const Filename& value) { SetData(id, GeData(value)); }
    void SetTime(Int32 id, const BaseTime& value) { SetData(id, GeData(value)); }
    void SetContainer(Int32 id, const BaseContainer& value) { SetData(id, GeData(value)); }
    void SetLink(Int32 id, BaseList2D* target) { SetData(id, GeData(target)); }
    Bool RemoveData(Int32 id);

    /// Appends, or inserts before position `before`, whether the id is there or not.
    void InsData(Int32 id, GeData value);
    void InsDataAt(Int32 before, Int32 id, GeData value);
    void RemoveIndex(Int32 index);
    Int32 FindIndex(Int32 id) const;  ///< -1 when absent
    Int32 GetIndexId(Int32 index) const;
    const GeData& GetIndexData(Int32 index) const;
    GeData& GetIndexData(Int32 index);

    /// Sets every value of `other` here.
    void Merge(const BaseContainer& other);
    /// A deep copy with links translated.
    BaseContainer GetClone(const AliasTrans* translation) const;
    Bool operator==(const BaseContainer& other) const;

private:
    friend class AliasTrans;
    struct Entry {
        Int32 id;
        GeData data;
    };
    using Index = std::unordered_map<Int32, Int32>;  ///< id to position of the first entry
    Int32 find(Int32 id) const;
    void changed();
    void append(Int32 id, GeData value);
    void replace(Entry& entry, GeData value);
    void remember(const GeData& leaving);
    void reindex();

    Int32 id_ = 0;
    UInt32 dirty_ = 0;
    std::vector<Entry> entries_;
    std::shared_ptr<Index> index_;  ///< of large containers; shared by copies until one changes
    Int32 containers_ = 0;          ///< how many entries are containers
};

}  // namespace host
