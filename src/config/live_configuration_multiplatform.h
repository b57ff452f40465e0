// The live configuration as a multiplatform host receives it: enumerations as their raw integers,
// everything else as stored.
#pragma once

#include "config/sdk_configuration.h"
#include "obx/delegate.h"

namespace obx {

LiveConfigurationMultiplatform toMultiplatform(const LiveConfiguration& live);

}  // namespace obx
