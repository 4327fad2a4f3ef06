// zmimport: lists the formats, detects a file's format and reads files into CSV, TSV or JSON.
#include <iostream>

#include "cli/Commands.h"

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    return zmcli::RunCommandLine(argc, argv, std::cout, std::cerr);
}
