#include <iostream>

#include "vesk4710/support/Version.h"

int main() {
    std::cout << "vesk4710 " << vesk::LibraryVersion() << " for the model " << vesk::kModelName
              << " readout\n";
    return 0;
}
