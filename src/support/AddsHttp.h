#pragma once
#include "support/AddsServices.h"

namespace orvex {

class AddsHttp
{
public:
    explicit AddsHttp(const AddsServices &services) { (void)services; }
};

} // namespace orvex
