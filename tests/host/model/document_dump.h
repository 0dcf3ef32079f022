// A document as text, through the public interface: everything that must survive a copy, a file or an undo. Two
// documents with the same text hold the same things under the same ids.
#pragma once

#include <iomanip>
#include <sstream>
#include <string>

#include "host/model/list_access.h"
#include "host/sdk/custom_types.h"
#include "host/sdk/document.h"
#include "host/sdk/file.h"

namespace host::test {

class DocumentDump {
public:
    static std::string of(const BaseDocument& document) {
        DocumentDump dump(&document);
        dump.document();
        return dump.out_.str();
    }
    static std::string of(const BaseList2D& node) {
        DocumentDump dump(node.GetDocument());
        dump.node(node, 0);
        return dump.out_.str();
    }

private:
    explicit DocumentDump(const BaseDocument* document) : document_(document) { out_ << std::setprecision(17); }

    void vector(const Vector& v) { out_ << '(' << v.x << ' ' << v.y << ' ' << v.z << ')'; }

    void link(const BaseList2D* target) { out_ << "-> " << (target ? target->GetGUID() : 0); }

    void data(const GeData& value) {
        switch (value.GetType()) {
            case DataType::Nil:
                out_ << "nil";
                break;
            case DataType::Int:
                out_ << value.GetInt64();
                break;
            case DataType::Float:
                out_ << value.GetFloat() << 'f';
                break;
            case DataType::Vector:
                vector(value.GetVector());
                break;
            case DataType::Matrix:
                matrix(value.GetMatrix());
                break;
            case DataType::String:
                out_ << '"' << value.GetString().str() << '"';
                break;
            case DataType::Filename:
                out_ << "file " << value.GetFilename().str();
                break;
            case DataType::Time:
                out_ << value.GetTime().GetNumerator() << '/' << value.GetTime().GetDenominator();
                break;
            case DataType::Container:
                container(*value.GetContainer());
                break;
            case DataType::Link:
                link(value.GetLink(document_));
                break;
            case DataType::Custom:
                custom(*value.GetCustomOfAnyType());
                break;
        }
    }

    void custom(const CustomDataType& value) {
        out_ << "custom " << value.GetTypeId() << ' ';
        if (const auto* list = dynamic_cast<const InExcludeData*>(&value)) {
            for (const auto& entry : list->entries) {
                data(entry.link);
                out_ << ':' << entry.flags << ' ';
            }
            return;
        }
        HyperFile file;
        file.OpenMemory(0);
        value.Write(file);
        file.Close();
        // Behind the header; the checksum at the end covers the same bytes.
        bytes(file.Bytes().data(), file.Bytes().size());
    }

    void container(const BaseContainer& values) {
        out_ << "{#" << values.GetId();
        for (Int32 i = 0; i < values.GetCount(); ++i) {
            out_ << ' ' << values.GetIndexId(i) << '=';
            data(values.GetIndexData(i));
        }
        out_ << '}';
    }

    void matrix(const Matrix& m) {
        vector(m.off);
        vector(m.v1);
        vector(m.v2);
        vector(m.v3);
    }

    template <typename T>
    void array(const char* name, const std::vector<T>& values) {
        out_ << ' ' << name << '[' << values.size() << "] ";
        bytes(reinterpret_cast<const UChar*>(values.data()), values.size() * sizeof(T));
    }

    void bytes(const UChar* first, std::size_t count) {
        UInt64 hash = 1469598103934665603ULL;  // FNV-1a
        for (std::size_t i = 0; i < count; ++i) hash = (hash ^ first[i]) * 1099511628211ULL;
        out_ << std::hex << hash << std::dec;
    }

    void content(const BaseList2D& node) {
        if (node.GetFamily() == NodeFamily::Object) {
            out_ << " ml ";
            matrix(static_cast<const BaseObject&>(node).GetMl());
            if (node.IsInstanceOf(Opoint)) array("points", static_cast<const PointObject&>(node).Points());
            if (node.GetType() == Opolygon) array("polygons", static_cast<const PolygonObject&>(node).Polygons());
            if (node.GetType() == Oline) {
                array("segments", static_cast<const LineObject&>(node).Segments());
                out_ << (static_cast<const LineObject&>(node).IsClosed() ? " closed" : " open");
            }
        } else if (node.GetFamily() == NodeFamily::Tag) {
            if (node.GetType() == Tuvw) array("uv", static_cast<const UVWTag&>(node).Data());
            if (node.GetType() == Tnormal) array("normals", static_cast<const NormalTag&>(node).Data());
            if (node.GetType() == Tpolygonselection || node.GetType() == Tpointselection) {
                array("ranges", static_cast<const SelectionTag&>(node).GetBaseSelect()->Ranges());
            }
            if (node.GetType() == Tvertexmap || node.GetType() == Tvertexcolor) {
                array("values", static_cast<const VertexTag&>(node).Data());
            }
        } else if (node.GetFamily() == NodeFamily::Track) {
            const auto& track = static_cast<const BaseTrack&>(node);
            out_ << " of " << track.GetParameterID().id << '.' << track.GetParameterID().component;
            for (const auto& key : track.GetKeys()) {
                out_ << " [" << key.time.Get() << ' ' << int(key.interpolation) << ' ' << key.leftSlope << ' '
                     << key.rightSlope << ' ';
                data(key.value);
                out_ << ']';
            }
        }
    }

    void node(const BaseList2D& node, int depth) {
        out_ << std::string(static_cast<std::size_t>(depth), ' ') << int(node.GetFamily()) << ' ' << node.GetType()
             << " \"" << node.GetName().str() << "\" guid " << node.GetGUID() << " layer ";
        link(node.GetLayerObject());
        out_ << ' ';
        container(*node.GetDataInstance());
        if (const auto* id = node.FindUniqueID(77)) bytes(id->data(), id->size());
        content(node);
        out_ << '\n';
        for (const Branch branch : kKeptBranches) {
            for (const BaseList2D* below = ListAccess::first(node, branch); below; below = below->GetNext()) {
                this->node(*below, depth + 1);
            }
        }
    }

    void document() {
        out_ << "time " << document_->GetTime().Get() << ' ';
        container(*document_->GetDataInstance());
        out_ << " active ";
        link(document_->GetActiveObject());
        link(document_->GetActiveMaterial());
        link(document_->GetActiveRenderData());
        const BaseDraw* view = document_->GetActiveBaseDraw();
        Int32 frame[4];
        view->GetFrame(frame, frame + 1, frame + 2, frame + 3);
        out_ << "\nview " << frame[0] << ' ' << frame[1] << ' ' << frame[2] << ' ' << frame[3] << ' ';
        link(view->GetSceneCamera(document_));
        matrix(view->GetEditorCamera()->GetMl());
        container(*view->GetEditorCamera()->GetDataInstance());
        out_ << '\n';
        for (const BaseList2D* track = document_->GetFirstTrack(); track; track = track->GetNext()) node(*track, 0);
        for (const NodeFamily family : kDocumentFamilies) {
            for (const BaseList2D* top = ListAccess::firstInDocument(*document_, family); top; top = top->GetNext()) {
                node(*top, 0);
            }
        }
    }

    const BaseDocument* document_;
    std::ostringstream out_;
};

}  // namespace host::test
