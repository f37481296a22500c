#pragma once
#include "support/AddsServices.h"

namespace orvex {

class AddsUtilities
{
public:
    explicit AddsUtilities(const AddsServices &services) { (void)services; }
};

} // namespace orvex
