#pragma once
#include "support/AddsServices.h"

namespace orvex {

class AddsSettings
{
public:
    explicit AddsSettings(const AddsServices &services) { (void)services; }
};

} // namespace orvex
