#include "registry.h"

namespace velotte::fake {

std::vector<Module> &modules()
{
    static std::vector<Module> all;
    return all;
}

} // namespace velotte::fake
