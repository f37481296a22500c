#include "oxzip/NameKey.h"

namespace orvex::oxzip {

std::string nameKey(std::string name)
{
    return name;
}

} // namespace orvex::oxzip
