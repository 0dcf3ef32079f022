#include <gtest/gtest.h>

#include "host/runtime/child_process.h"

int main(int argc, char** argv) {
    if (const int code = host::runChildJob(argc, argv); code >= 0) return code;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
