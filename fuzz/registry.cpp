#include "target.h"

namespace velotte::fuzz {
std::vector<Target> &targets()
{
    static std::vector<Target> all;
    return all;
}
} // namespace velotte::fuzz
