# Where the products lie, as in an installation:
#
#   bin/lumora                          the executable
#   bin/liblumora_host.so               the host
#   bin/plugins/lumora/lumora.so        the plug-in
#   bin/plugins/lumora/res/             its resources
#   bin/plugins/lumora/Libs300/         its engine library directory, with liblumora.so

set(LUMORA_BIN_DIR "${CMAKE_BINARY_DIR}/bin")
set(LUMORA_PLUGIN_DIR "${LUMORA_BIN_DIR}/plugins/lumora")
set(LUMORA_ENGINE_DIR "${LUMORA_PLUGIN_DIR}/Libs300")
set(LUMORA_TEST_DIR "${CMAKE_BINARY_DIR}/tests")
