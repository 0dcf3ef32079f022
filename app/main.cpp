#include "app/command_line.h"
#include "host/runtime/child_process.h"

int main(int argc, char** argv) {
    // The host starts this program again to read files that it does not trust.
    if (const int code = host::runChildJob(argc, argv); code >= 0) return code;
    return app::runCommandLine(argc, argv);
}
