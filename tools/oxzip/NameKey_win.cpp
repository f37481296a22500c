#include "oxzip/NameKey.h"

namespace orvex::oxzip {

std::string nameKey(std::string name)
{
    for (char &c : name) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return name;
}

} // namespace orvex::oxzip
