// Document files: what comes back, and what is refused.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "host/io/document_file.h"
#include "host/io/hyper_file.h"
#include "host/runtime/plugin_registry.h"
#include "tests/host/model/document_dump.h"
#include "tests/host/model/sample_document.h"
#include "tests/host/scratch.h"

namespace host {
namespace {

using test::DocumentDump;
using test::DocumentPtr;

std::vector<UChar> bytesOf(const BaseDocument& document) {
    HyperFile file;
    EXPECT_TRUE(file.OpenMemory(kDocumentIdent, kDocumentVersion));
    EXPECT_TRUE(writeDocument(file, document)) << file.GetErrorText().str();
    EXPECT_TRUE(file.Close());
    return file.Bytes();
}

DocumentPtr fromBytes(std::vector<UChar> bytes, String* error = nullptr) {
    HyperFile file;
    DocumentPtr document;
    if (file.OpenMemory(kDocumentIdent, std::move(bytes), kDocumentVersion)) document.reset(readDocument(file));
    if (error) *error = file.GetErrorText();
    return document;
}

TEST(DocumentFile, HoldsEverything) {
    const test::ScratchFolder folder;
    DocumentPtr document = test::makeSampleDocument();
    const Filename file(folder / "sample.lumdoc");
    String error;
    ASSERT_TRUE(SaveDocument(document.get(), file, &error)) << error.str();
    EXPECT_FALSE(document->IsChanged());
    DocumentPtr loaded(LoadDocument(file, &error));
    ASSERT_NE(loaded, nullptr) << error.str();
    EXPECT_EQ(DocumentDump::of(*loaded), DocumentDump::of(*document));
    EXPECT_EQ(loaded->GetDocumentPath(), Filename(folder.path()));
    EXPECT_EQ(loaded->GetDocumentName(), String("sample.lumdoc"));
    EXPECT_FALSE(loaded->IsChanged());
    EXPECT_EQ(bytesOf(*loaded), bytesOf(*document)) << "saving again gives the same bytes";
    // Links work without naming the document, as in the document that was saved.
    EXPECT_EQ(loaded->GetFirstObject()->GetDataInstance()->GetLink(INSTANCEOBJECT_LINK), loaded->SearchObject("Mesh"));
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        EXPECT_EQ(entry.path().filename(), "sample.lumdoc") << "no temporary file stays";
    }
}

TEST(DocumentFile, DeepTreesAndDescriptorsWork) {
    DocumentPtr document = test::newDocument();
    BaseObject* bottom = nullptr;
    for (int i = 0; i < 100000; ++i) {
        BaseObject* object = BaseObject::Alloc(Onull);
        bottom ? object->InsertUnder(bottom) : document->AppendObject(object);
        bottom = object;
    }
    bottom->SetName("bottom");
    // Through a file in memory, and through a pipe.
    const int memory = memfd_create("document", 0);
    HyperFile writer;
    ASSERT_TRUE(writer.OpenDescriptor(kDocumentIdent, memory, FileMode::Write, kDocumentVersion));
    ASSERT_TRUE(writeDocument(writer, *document) && writer.Close()) << writer.GetErrorText().str();
    lseek(memory, 0, SEEK_SET);
    HyperFile reader;
    ASSERT_TRUE(reader.OpenDescriptor(kDocumentIdent, memory, FileMode::Read, kDocumentVersion))
        << reader.GetErrorText().str();
    DocumentPtr loaded(readDocument(reader));
    ASSERT_NE(loaded, nullptr) << reader.GetErrorText().str();
    EXPECT_NE(loaded->SearchObject("bottom"), nullptr);
    close(memory);

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    DocumentPtr small = test::makeSampleDocument();
    HyperFile sender, receiver;
    ASSERT_TRUE(sender.OpenDescriptor(kDocumentIdent, ends[1], FileMode::Write) && writeDocument(sender, *small) &&
                sender.Close());
    close(ends[1]);
    ASSERT_TRUE(receiver.OpenDescriptor(kDocumentIdent, ends[0], FileMode::Read));
    DocumentPtr received(readDocument(receiver));
    close(ends[0]);
    ASSERT_NE(received, nullptr);
    EXPECT_EQ(DocumentDump::of(*received), DocumentDump::of(*small));
}

class KeepingTag : public TagData {
public:
    Int32 kept = 0;
    Bool Read(BaseList2D*, HyperFile& file, Int32 level) override { return level == 3 && file.ReadInt32(&kept); }
    Bool Write(const BaseList2D*, HyperFile& file) const override { return file.WriteInt32(kept); }
    Bool CopyTo(NodeData* destination, const BaseList2D*, BaseList2D*, UInt32, AliasTrans*) const override {
        static_cast<KeepingTag*>(destination)->kept = kept;
        return true;
    }
};

class KeepingData : public CustomDataType {
public:
    Int32 kept = 0;
    Int32 GetTypeId() const override { return 1050012; }
    std::unique_ptr<CustomDataType> Clone(const AliasTrans*) const override {
        return std::make_unique<KeepingData>(*this);
    }
    Bool Equals(const CustomDataType& other) const override {
        return kept == static_cast<const KeepingData&>(other).kept;
    }
    Bool Write(HyperFile& file) const override { return file.WriteInt32(kept); }
    Bool Read(HyperFile& file, Int32) override { return file.ReadInt32(&kept); }
};

TEST(DocumentFile, NothingIsLostWhileAPluginIsAway) {
    constexpr Int32 kTag = 1050011, kShader = 1050013;
    static const Parameter rows[] = {{.id = 1000, .kind = ParameterKind::Int, .value = 5}};
    static const Description description{rows};
    struct Plugin {
        Plugin() {
            const PluginScope scope(991);
            EXPECT_TRUE(RegisterTagPlugin(
                kTag, "Keeping", 0, [] { return std::make_unique<KeepingTag>(); }, &description, "", 3));
            EXPECT_TRUE(RegisterShaderPlugin(
                kShader, "Shading", 0, [] { return std::make_unique<ShaderData>(); }, nullptr, 0));
            EXPECT_TRUE(RegisterCustomDataTypePlugin(
                1050012, "Data", [] { return std::make_unique<KeepingData>(); }, 2));
        }
        ~Plugin() { removeRegistrations(991); }
    };
    std::vector<UChar> saved;
    {
        const Plugin plugin;
        DocumentPtr document = test::newDocument();
        BaseObject* object = BaseObject::Alloc(Onull);
        document->AppendObject(object);
        BaseTag* tag = object->MakeTag(kTag);
        ASSERT_NE(tag, nullptr);
        EXPECT_EQ(tag->GetDataInstance()->GetInt32(1000), 5);
        static_cast<KeepingTag*>(tag->GetNodeData())->kept = 42;
        tag->GetDataInstance()->SetInt32(1000, 6);
        auto value = std::make_shared<KeepingData>();
        value->kept = 43;
        tag->GetDataInstance()->Set(2000, std::shared_ptr<const CustomDataType>(value));
        BaseMaterial* material = BaseMaterial::Alloc(Mmaterial);
        material->InsertShader(BaseShader::Alloc(kShader));
        document->InsertMaterial(material);
        DocumentPtr clone(document->CloneDocument());
        EXPECT_EQ(static_cast<KeepingTag*>(clone->GetFirstObject()->GetFirstTag()->GetNodeData())->kept, 42);
        saved = bytesOf(*clone);
    }
    {
        DocumentPtr without = fromBytes(saved);
        ASSERT_NE(without, nullptr);
        BaseTag* tag = without->GetFirstObject()->GetFirstTag();
        ASSERT_NE(tag, nullptr);
        EXPECT_EQ(tag->GetType(), kTag);
        EXPECT_EQ(tag->GetNodeData(), nullptr);
        EXPECT_EQ(tag->GetDataInstance()->FindData(2000)->GetCustom(1050012), nullptr)
            << "bytes are not handed out as an object of the absent class";
        DocumentPtr clone(without->CloneDocument());
        saved = bytesOf(*clone);
    }
    const Plugin plugin;
    DocumentPtr back = fromBytes(saved);
    ASSERT_NE(back, nullptr);
    BaseTag* tag = back->GetFirstObject()->GetFirstTag();
    ASSERT_NE(tag->GetNodeData(), nullptr);
    EXPECT_EQ(static_cast<KeepingTag*>(tag->GetNodeData())->kept, 42);
    EXPECT_EQ(tag->GetDataInstance()->GetInt32(1000), 6);
    const auto* value = static_cast<const KeepingData*>(tag->GetDataInstance()->FindData(2000)->GetCustom(1050012));
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->kept, 43);
    EXPECT_EQ(back->GetFirstMaterial()->GetFirstShader()->GetType(), kShader);
}

TEST(DocumentFile, DamageIsFoundWhereverItIs) {
    const std::vector<UChar> good = bytesOf(*test::makeSampleDocument());
    std::mt19937 random(5);
    for (std::size_t cut = 0; cut < good.size(); cut += 1 + good.size() / 300) {
        String error;
        EXPECT_EQ(fromBytes({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut)}, &error), nullptr);
        EXPECT_TRUE(error.Content());
    }
    for (int i = 0; i < 500; ++i) {
        std::vector<UChar> bad = good;
        bad[random() % bad.size()] ^= static_cast<UChar>(1u << (random() % 8));
        String error;
        EXPECT_EQ(fromBytes(std::move(bad), &error), nullptr);
        EXPECT_TRUE(error.Content());
    }
}

TEST(DocumentFile, CraftedFilesWithAGoodChecksumDoNoHarm) {
    const std::vector<UChar> good = bytesOf(*test::makeSampleDocument());
    std::mt19937 random(6);
    int readable = 0;
    for (int i = 0; i < 4000; ++i) {
        std::vector<UChar> bad = good;
        // Bytes, and whole numbers that are likely to be lengths, counts and indices.
        const std::size_t content = bad.size() - kHyperHeaderBytes - kHyperTrailerBytes - 8;
        for (unsigned n = 0; n <= random() % 4; ++n) {
            const std::size_t at = kHyperHeaderBytes + random() % content;
            const UInt64 values[] = {0, 1, 0x7FFFFFFF, 0xFFFFFFFF, 0x7FFFFFFFFFFFFFFF, ~UInt64{0}, random()};
            const UInt64 value = values[random() % std::size(values)];
            std::memcpy(&bad[at], &value, 1u << (random() % 4));
        }
        if (random() % 4 == 0) bad.resize(kHyperHeaderBytes + kHyperTrailerBytes + random() % content);
        sealHyperFile(bad);
        String error;
        if (DocumentPtr document = fromBytes(std::move(bad), &error)) {
            ++readable;
            DocumentDump::of(*document);
            DocumentPtr clone(document->CloneDocument());
        } else {
            EXPECT_TRUE(error.Content());
        }
    }
    EXPECT_GT(readable, 0) << "the test also reaches what stands behind the checks";
}

TEST(DocumentFile, WrongIndicesAreNamed) {
    DocumentPtr document = test::newDocument();
    PolygonObject* mesh = test::makeStrip(2);
    mesh->SetName("Broken");
    document->AppendObject(mesh);
    for (const Int32 index : {6, -1, 2147483647}) {
        mesh->GetPolygonW()[1].c = index;
        String error;
        EXPECT_EQ(fromBytes(bytesOf(*document), &error), nullptr);
        EXPECT_GE(error.Find("polygon 1"), 0) << error.str();
        EXPECT_GE(error.Find("Broken"), 0) << error.str();
    }
    mesh->GetPolygonW()[1].c = 0;
    mesh->GetPointW()[0].x = std::numeric_limits<Float>::quiet_NaN();
    EXPECT_NE(fromBytes(bytesOf(*document)), nullptr) << "values that are no numbers are kept";
}

TEST(DocumentFile, RefusalsAreSentencesAndLeaveTheOldFile) {
    const test::ScratchFolder folder;
    const auto write = [&](const std::string& name, const std::string& text) {
        std::ofstream(folder / name, std::ios::binary) << text;
        return Filename(folder / name);
    };
    HyperFile newer;
    ASSERT_TRUE(newer.Open(kDocumentIdent, Filename(folder / "newer.lumdoc"), FileMode::Write, 99));
    ASSERT_TRUE(newer.Close());
    HyperFile other;
    ASSERT_TRUE(other.Open(1234, Filename(folder / "other.lumdoc"), FileMode::Write));
    ASSERT_TRUE(other.Close());
    const struct {
        Filename file;
        const char* says;
    } rows[] = {
        {Filename(folder / "none.lumdoc"), "does not exist"},
        {Filename(folder.path()), "folder"},
        {write("empty.lumdoc", ""), "empty"},
        {write("noise.lumdoc", "no document at all, but long enough to hold a header and more"),
         "not a document, whatever its name says"},
        {write("scene.xyz", "no document at all, but long enough to hold a header and more"), "neither a document"},
        {Filename(folder / "newer.lumdoc"), "version 99"},
        {Filename(folder / "other.lumdoc"), "not a document, whatever its name says"}};
    for (const auto& row : rows) {
        String error;
        EXPECT_EQ(LoadDocument(row.file, &error), nullptr);
        EXPECT_GE(error.Find(row.says), 0) << error.str();
    }

    DocumentPtr document = test::makeSampleDocument();
    String error;
    EXPECT_FALSE(SaveDocument(document.get(), Filename(folder / "a/b.lumdoc"), &error));
    EXPECT_GE(error.Find("folder"), 0) << error.str();
    EXPECT_FALSE(SaveDocument(document.get(), Filename(folder / "x.glb"), &error));
    EXPECT_FALSE(std::filesystem::exists(folder / "x.glb"));
    std::filesystem::create_directory(folder / "d.lumdoc");
    EXPECT_FALSE(SaveDocument(document.get(), Filename(folder / "d.lumdoc"), &error));

    // No room: the process may write no more than a few blocks.
    const Filename full(folder / "full.lumdoc");
    ASSERT_TRUE(SaveDocument(document.get(), full, &error));
    document->AppendObject(test::makeStrip(100000));
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit tight = before;
    tight.rlim_cur = 65536;
    setrlimit(RLIMIT_FSIZE, &tight);
    EXPECT_FALSE(SaveDocument(document.get(), full, &error));
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_GE(error.Find("room"), 0) << error.str();
    DocumentPtr old(LoadDocument(full, &error));
    ASSERT_NE(old, nullptr) << error.str();
    EXPECT_EQ(old->SearchObject("Mesh") != nullptr, true);
    Int32 files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        files += entry.path().extension() == ".tmp";
    }
    EXPECT_EQ(files, 0);
}

TEST(HyperFile, SkipsWhatItDoesNotKnow) {
    HyperFile out;
    ASSERT_TRUE(out.OpenMemory(7, 2));
    out.WriteInt32(1);
    out.WriteChunkStart(10, 1);
    out.WriteString("skipped");
    out.WriteChunkStart(11, 1);
    out.WriteFloat(1);
    out.WriteChunkEnd();
    out.WriteChunkEnd();
    out.WriteChunkStart(12, 3);
    out.WriteVector({1, 2, 3});
    out.WriteBool(true);  // a later writer added this
    out.WriteChunkEnd();
    ASSERT_TRUE(out.Close());
    HyperFile in;
    ASSERT_TRUE(in.OpenMemory(7, out.Bytes(), 2));
    EXPECT_EQ(in.GetFileVersion(), 2);
    Int32 value = 0, id = 0, level = 0;
    ASSERT_TRUE(in.ReadInt32(&value) && in.ReadChunkStart(&id, &level) && in.ReadChunkEnd());
    EXPECT_EQ(id, 10);
    Vector vector;
    ASSERT_TRUE(in.ReadChunkStart(&id, &level) && in.ReadVector(&vector) && in.ReadChunkEnd());
    EXPECT_EQ(level, 3);
    EXPECT_EQ(vector, Vector(1, 2, 3));
    EXPECT_FALSE(in.ReadChunkStart(&id, &level));
    EXPECT_EQ(in.GetError(), FileError::None) << "the end is no error";
    EXPECT_FALSE(in.ReadInt32(&value));
    EXPECT_EQ(in.GetError(), FileError::Corrupt) << "reading past it is";

    HyperFile wrong;
    EXPECT_FALSE(wrong.OpenMemory(8, out.Bytes(), 2));
    EXPECT_EQ(wrong.GetError(), FileError::WrongIdent);
    HyperFile type;
    ASSERT_TRUE(type.OpenMemory(7, out.Bytes(), 2));
    Float number = 0;
    EXPECT_FALSE(type.ReadFloat(&number)) << "an integer stands there";
    HyperFile unbalanced;
    ASSERT_TRUE(unbalanced.OpenMemory(7));
    unbalanced.WriteChunkStart(1, 1);
    EXPECT_FALSE(unbalanced.Close());
    HyperFile deep;
    ASSERT_TRUE(deep.OpenMemory(7));
    BaseContainer nested;
    for (int i = 0; i < 150; ++i) {
        BaseContainer outer;
        outer.SetContainer(1, nested);
        nested = outer;
    }
    EXPECT_FALSE(deep.WriteContainer(nested));
    EXPECT_TRUE(deep.GetErrorText().Content());
}

}  // namespace
}  // namespace host
