#pragma once

namespace obx {

enum class AppStateCycle { notRunning, active, inactive, background };

enum class ReachabilityConnection { none, wifi, cellular };

}  // namespace obx
