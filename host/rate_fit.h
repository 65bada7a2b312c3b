#pragma once

#include "sorvane_host.h"

namespace sorvane::host {

/// How a host's rate, above 0, suits a model of another; see SorvaneHostRateFit.
SorvaneHostRateFit rateFit(double modelRate, double hostRate);

} // namespace sorvane::host
