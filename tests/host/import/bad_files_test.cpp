#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "tests/host/import/gltf_builder.h"

namespace host::test {
namespace {

TEST(BadFiles, EachGetsASentenceThatNamesFileAndFault) {
    struct Case {
        const char* fault;
        std::function<void(GltfBuilder&)> breakIt;
    };
    const Case cases[] = {
        {"requires NO_such_thing, which",
         [](auto& b) {
             b.root["extensionsRequired"] = {"KHR_texture_transform", "NO_such_thing"};
         }},
        {"EXT_meshopt_compression", [](auto& b) { b.root["extensionsRequired"] = {"EXT_meshopt_compression"}; }},
        {"only 2.0 is read", [](auto& b) { b.root["asset"]["version"] = "1.0"; }},
        {"not a glTF file", [](auto& b) { b.root.erase("asset"); }},
        {"reaches past the end of its buffer", [](auto& b) { b.root["bufferViews"][0]["byteLength"] = 5000; }},
        {"reaches past the end of its data", [](auto& b) { b.root["accessors"][0]["count"] = 4; }},
        {"no usable count", [](auto& b) { b.root["accessors"][0]["count"] = -1; }},
        {"reaches past", [](auto& b) { b.root["accessors"][0]["count"] = 2000000000; }},
        {"unknown component type", [](auto& b) { b.root["accessors"][0]["componentType"] = 9; }},
        {"meshes[7], which does not exist", [](auto& b) { b.root["nodes"][0]["mesh"] = 7; }},
        {"has a loop", [](auto& b) { b.root["nodes"][0]["children"] = {0}; }},
        {"\"mesh\" is not a whole number", [](auto& b) { b.root["nodes"][0]["mesh"] = "a"; }},
        {"index is out of range: 3, the primitive has 3",
         [](auto& b) {
             b.root["meshes"][0]["primitives"][0]["indices"] = b.template accessor<std::uint16_t>({0, 1, 3}, "SCALAR");
         }},
        {"nested deeper",
         [](auto& b) {
             for (int i = 1; i < 3000; ++i) {
                 b.root["nodes"][static_cast<std::size_t>(i - 1)]["children"] = {i};
                 b.root["nodes"].push_back(Json::object());
             }
         }},
    };
    for (const Case& c : cases) {
        GltfBuilder b;
        b.node({{"mesh", b.triangle()}});
        c.breakIt(b);
        const Imported scene(b);
        EXPECT_FALSE(scene.good) << c.fault;
        EXPECT_GE(scene.error.Find(c.fault), 0) << scene.error.c_str();
        EXPECT_GE(scene.error.Find("scene.gltf"), 0) << scene.error.c_str();
    }
}

TEST(BadFiles, WhatIsNoFileOrNoSceneIsSaid) {
    const Folder folder;
    GltfBuilder b;
    b.node({{"mesh", b.triangle()}});
    b.root["buffers"] = {{{"uri", "gone.bin"}, {"byteLength", 36}}};
    const Filename missingBuffer = folder.write("missing.gltf", b.root.dump());
    b.root["buffers"][0]["uri"] = "../../secret.bin";
    const Filename outside = folder.write("outside.gltf", b.root.dump());
    b.root["buffers"][0]["uri"] = "data:application/octet-stream;base64,AAAA";
    const Filename shortBuffer = folder.write("short.gltf", b.root.dump());
    const std::pair<Filename, const char*> cases[] = {
        {folder.file("none.glb"), "does not exist"},
        {folder.file(""), "folder"},
        {folder.write("empty.glb", ""), "empty"},
        {folder.write("noise.glb", "\x01\x02\x03 noise"), "JSON text is broken"},
        {folder.write("noise.gltf", std::string(1000, '[')), "JSON text is broken"},
        {folder.write("a.xyz", "1"), "no format"},
        {missingBuffer, "\"gone.bin\" is missing"},
        {outside, "outside the scene's folder"},
        {shortBuffer, "3 of 36 bytes"},
    };
    for (const auto& [file, fault] : cases) {
        const Imported scene(file);
        EXPECT_FALSE(scene.good) << fault;
        EXPECT_GE(scene.error.Find(fault), 0) << scene.error.c_str();
        String error;
        EXPECT_EQ(importScene(file, &error, nullptr), nullptr) << fault;
        EXPECT_GE(error.Find(fault), 0) << error.c_str();
        EXPECT_GE(error.Find(file.GetString()), 0) << error.c_str();
    }
}

/// A glb with a bit of everything that is decoded.
std::string richGlb() {
    GltfBuilder b;
    Json p = {{"attributes",
               {{"POSITION", b.accessor<float>({0, 0, 0, 1, 0, 0, 0, 1, 0}, "VEC3")},
                {"TEXCOORD_0", b.accessor<std::uint16_t>({0, 0, 65535, 0, 0, 65535}, "VEC2", true)},
                {"JOINTS_0", b.accessor<std::uint8_t>({0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0}, "VEC4")},
                {"WEIGHTS_0", b.accessor<float>({1, 0, 0, 0, 1, 0, 0, 0, 0.5f, 0.5f, 0, 0}, "VEC4")}}},
              {"indices", b.accessor<std::uint32_t>({0, 1, 2}, "SCALAR")},
              {"material", 0}};
    b.root["images"] = {{{"bufferView", b.view("\x89PNG\r\n\x1a\n-", 9)}, {"mimeType", "image/png"}}};
    b.root["textures"] = {{{"source", 0}}};
    b.root["materials"] = {{{"pbrMetallicRoughness", {{"baseColorTexture", {{"index", 0}}}}}}};
    b.root["skins"] = {{{"joints", {1, 2}}}};
    b.node({{"mesh", b.mesh(p)}, {"skin", 0}});
    b.node({{"children", {2}}, {"scale", {1, 2, 3}}});
    b.node({{"rotation", {0, 0, 0, 1}}}, false);
    b.root["animations"] = {{{"samplers",
                              {{{"input", b.accessor<float>({0, 1}, "SCALAR")},
                                {"output", b.accessor<float>({0, 0, 0, 1, 1, 1}, "VEC3")}}}},
                             {"channels", {{{"sampler", 0}, {"target", {{"node", 1}, {"path", "translation"}}}}}}}};
    return b.glb();
}

TEST(BadFiles, DamagedGlbsNeverCrash) {
    const Folder folder;
    const std::string whole = richGlb();
    ASSERT_TRUE(Imported(folder.write("whole.glb", whole)).good);
    const auto expectSentenceOrScene = [&](const std::string& bytes) {
        const Imported scene(folder.write("damaged.glb", bytes));
        EXPECT_TRUE(scene.good || scene.error.Content());
    };
    for (std::size_t length = 1; length < whole.size(); length += 13) {
        const Imported cut(folder.write("cut.glb", whole.substr(0, length)));
        EXPECT_FALSE(cut.good) << length;
        EXPECT_TRUE(cut.error.Content());
    }
    std::mt19937 random(7);
    for (int round = 0; round < 600; ++round) {
        std::string bytes = whole;
        for (unsigned k = 0; k < 1 + random() % 4; ++k) bytes[random() % bytes.size()] = static_cast<char>(random());
        expectSentenceOrScene(bytes);
        // Numbers of the JSON text changed to others: still a text, no longer a scene.
        bytes = whole;
        for (unsigned k = 0; k < 3;) {
            char& c = bytes[20 + random() % (whole.size() / 2)];
            if (c < '0' || c > '9') continue;
            c = static_cast<char>('0' + random() % 10);
            ++k;
        }
        expectSentenceOrScene(bytes);
    }
}

}  // namespace
}  // namespace host::test
