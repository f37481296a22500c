#include "support/Adds.h"

namespace orvex {

Adds::Adds(const AddsServices &services)
    : AddsSettings(services), AddsHttp(services), AddsTray(services), AddsUtilities(services),
      AddsSystem(services), m_services(services)
{}

} // namespace orvex
