// Writes the reference of the engine's nodes to the file that is named, or to the standard output.
#include <fstream>
#include <iostream>

#include "tools/node_reference/reference.h"

int main(int count, char** arguments) {
    const std::string text = Lumora::engine::nodeReference();
    if (count < 2) {
        std::cout << text;
        return 0;
    }
    std::ofstream file(arguments[1], std::ios::binary);
    file << text << std::flush;
    if (!file) {
        std::cerr << "The file " << arguments[1] << " cannot be written.\n";
        return 1;
    }
    return 0;
}
