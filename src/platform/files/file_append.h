// Appending bytes to a file, creating the file and its folders when missing.
#pragma once

#include <filesystem>
#include <string_view>

namespace obx::platform {

// Returns false on any failure; nothing is thrown.
bool appendToFile(const std::filesystem::path& file, std::string_view bytes) noexcept;

}  // namespace obx::platform
