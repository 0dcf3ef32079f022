#include "host/runtime/console.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>

namespace host {

namespace {

struct Console {
    std::mutex lock;
    std::shared_ptr<const ConsoleSinks> sinks;
    std::FILE* file = nullptr;
    Filename fileName;
    Int64 fileSize = 0;
    String statusText;
    Int32 statusPercent = -1;
};

Console& console() {
    static Console instance;
    return instance;
}

void openFile(Console& c) {
    c.file = std::fopen(c.fileName.c_str(), "ae");
    c.fileSize = 0;
    if (!c.file) return;
    std::fseek(c.file, 0, SEEK_END);
    c.fileSize = std::ftell(c.file);
}

void turnOver(Console& c) {
    std::fclose(c.file);
    c.file = nullptr;
    if (std::rename(c.fileName.c_str(), (c.fileName.str() + ".old").c_str()) == 0) openFile(c);
}

void writeLine(Console& c, const String& line) {
    if (!c.file) return;
    if (c.fileSize > kLogFileLimit) turnOver(c);
    if (!c.file) return;
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm parts{};
    localtime_r(&seconds, &parts);
    char stamp[48];
    const std::size_t length = std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &parts);
    const int written =
        std::fprintf(c.file, "%.*s.%03d  %s\n", static_cast<int>(length), stamp, static_cast<int>(ms), line.c_str());
    std::fflush(c.file);  // a crash right after the line must not lose it
    if (written > 0) c.fileSize += written;
}

void tellStatus() {
    Console& c = console();
    std::shared_ptr<const ConsoleSinks> sinks;
    String text;
    {
        const std::scoped_lock guard(c.lock);
        sinks = c.sinks;
        text = c.statusText;
        if (c.statusPercent >= 0) text += " " + String::IntToString(c.statusPercent) + "%";
    }
    if (sinks && sinks->status) sinks->status(text);
}

}  // namespace

void openConsole(ConsoleSinks sinks, const Filename& logFile) {
    closeConsole();
    Console& c = console();
    const std::scoped_lock guard(c.lock);
    c.sinks = std::make_shared<const ConsoleSinks>(std::move(sinks));
    c.fileName = logFile;
    if (logFile.Content()) openFile(c);
}

void closeConsole() {
    Console& c = console();
    const std::scoped_lock guard(c.lock);
    if (c.file) std::fclose(c.file);
    c.file = nullptr;
    c.sinks.reset();
    c.statusText = {};
    c.statusPercent = -1;
}

void GeConsoleOut(const String& line) {
    Console& c = console();
    std::shared_ptr<const ConsoleSinks> sinks;
    {
        const std::scoped_lock guard(c.lock);
        writeLine(c, line);
        sinks = c.sinks;
    }
    // Outside the lock: a sink may write lines itself.
    if (sinks && sinks->console) sinks->console(line);
}

void StatusSetText(const String& text) {
    {
        const std::scoped_lock guard(console().lock);
        console().statusText = text;
    }
    tellStatus();
}

void StatusSetBar(Int32 percent) {
    {
        const std::scoped_lock guard(console().lock);
        console().statusPercent = percent > 100 ? 100 : percent;
    }
    tellStatus();
}

void StatusClear() {
    {
        const std::scoped_lock guard(console().lock);
        console().statusText = {};
        console().statusPercent = -1;
    }
    tellStatus();
}

void MessageDialog(const String& text) {
    GeConsoleOut(text);
    std::fprintf(stderr, "%s\n", text.c_str());
}

Bool QuestionDialog(const String& text, Bool unattended) {
    GeConsoleOut(text + (unattended ? " -> yes" : " -> no"));
    return unattended;
}

}  // namespace host
