// orvanectl: maintenance and inspection from the command line.
#include "app/ctl/CommandTable.h"

#include <exception>
#include <iostream>

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    try {
        return orvane::ctl::dispatch(arguments, std::cout, std::cerr);
    } catch (const std::exception& error) {
        std::cerr << "orvanectl: " << error.what() << "\n";
        return orvane::ctl::exitFailure;
    }
}
