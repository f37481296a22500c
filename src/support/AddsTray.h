#pragma once
#include "support/AddsServices.h"

namespace orvex {

class AddsTray
{
public:
    explicit AddsTray(const AddsServices &services) { (void)services; }
};

} // namespace orvex
