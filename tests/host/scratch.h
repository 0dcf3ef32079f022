// A folder that a test may fill; gone when the test is over. And an application that keeps its preferences there.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/runtime/application.h"

namespace host::test {

class ScratchFolder {
public:
    ScratchFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "lumora-test-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// A host without plug-ins whose console lines are kept.
struct TestApplication {
    explicit TestApplication(const std::string& preferences, const std::string& plugins = {}) {
        ApplicationOptions options;
        options.preferences = Filename(preferences);
        options.plugins = Filename(plugins);
        options.console = [this](const String& line) {
            const std::scoped_lock guard(lock);
            lines.push_back(line.str());
        };
        application = std::make_unique<Application>(std::move(options));
    }
    Bool said(const std::string& text) {
        const std::scoped_lock guard(lock);
        for (const std::string& line : lines) {
            if (line.find(text) != std::string::npos) return true;
        }
        return false;
    }
    std::mutex lock;
    std::vector<std::string> lines;
    std::unique_ptr<Application> application;
};

}  // namespace host::test
