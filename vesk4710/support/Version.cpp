#include "vesk4710/support/Version.h"

namespace vesk {
std::string LibraryVersion() {
    return VESK_VERSION;
}
}  // namespace vesk
