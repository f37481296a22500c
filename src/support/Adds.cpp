#include "support/Adds.h"

namespace orvex {

Adds::Adds(const AddsServices &services)
    : AddsHttp(services.clock), AddsTray(services), AddsSystem(services), m_services(services)
{}

} // namespace orvex
