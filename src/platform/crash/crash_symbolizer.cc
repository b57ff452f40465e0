#include "platform/crash/crash_symbolizer.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <sstream>

#include <cxxabi.h>

namespace obx::platform {
namespace {

struct Mapping {
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  std::uint64_t offset = 0;
  std::string path;
};

std::vector<Mapping> parseMaps(std::string_view text) {
  std::vector<Mapping> mappings;
  std::istringstream lines{std::string(text)};
  std::string line;
  while (std::getline(lines, line)) {
    Mapping mapping;
    char permissions[8] = {};
    int pathStart = 0;
    if (std::sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64 " %7s %" SCNx64 " %*s %*s %n", &mapping.start, &mapping.end,
                    permissions, &mapping.offset, &pathStart) < 4 ||
        pathStart <= 0 || static_cast<std::size_t>(pathStart) >= line.size() || line[pathStart] != '/') {
      continue;
    }
    mapping.path = line.substr(static_cast<std::size_t>(pathStart));
    mappings.push_back(std::move(mapping));
  }
  return mappings;
}

// Where each file was loaded in the crashed process: its lowest mapping less that mapping's offset.
std::map<std::string, std::uint64_t> loadBases(const std::vector<Mapping>& mappings) {
  std::map<std::string, std::uint64_t> bases;
  for (const Mapping& mapping : mappings) {
    const std::uint64_t base = mapping.start - mapping.offset;
    auto found = bases.find(mapping.path);
    if (found == bases.end() || base < found->second) bases[mapping.path] = base;
  }
  return bases;
}

struct LoadedModule {
  std::string path;
  std::uint64_t base = 0;
};

int collectModule(struct dl_phdr_info* info, std::size_t, void* argument) {
  auto& modules = *static_cast<std::vector<LoadedModule>*>(argument);
  std::string path = info->dlpi_name ? info->dlpi_name : "";
  if (path.empty()) {
    // The executable names itself through /proc.
    std::error_code error;
    path = std::filesystem::read_symlink("/proc/self/exe", error).string();
  }
  if (!path.empty()) modules.push_back({path, info->dlpi_addr});
  return 0;
}

std::optional<std::uint64_t> loadedBase(const std::vector<LoadedModule>& modules, const std::string& path) {
  std::error_code error;
  const std::string wanted = std::filesystem::weakly_canonical(path, error).string();
  for (const LoadedModule& module : modules) {
    if (module.path == path || std::filesystem::weakly_canonical(module.path, error).string() == wanted) {
      return module.base;
    }
  }
  return std::nullopt;
}

std::string line(std::size_t index, const std::string& module, std::uint64_t address, const std::string& symbol,
                 std::uint64_t offset) {
  char text[96];
  std::snprintf(text, sizeof(text), "%-4zu%-35s 0x%016" PRIx64 " ", index, module.c_str(), address);
  return std::string(text) + symbol + " + " + std::to_string(offset);
}

}  // namespace

std::vector<std::string> CrashSymbolizer::symbolize(const std::vector<std::uint64_t>& frames, std::string_view maps) {
  const std::vector<Mapping> mappings = parseMaps(maps);
  const std::map<std::string, std::uint64_t> bases = loadBases(mappings);
  std::vector<LoadedModule> modules;
  ::dl_iterate_phdr(collectModule, &modules);

  std::vector<std::string> symbols;
  symbols.reserve(frames.size());
  for (std::size_t index = 0; index < frames.size(); ++index) {
    const std::uint64_t address = frames[index];
    const Mapping* mapping = nullptr;
    for (const Mapping& candidate : mappings) {
      if (address >= candidate.start && address < candidate.end) mapping = &candidate;
    }
    if (!mapping) {
      symbols.push_back(line(index, "???", address, "???", 0));
      continue;
    }
    const std::string module = std::filesystem::path(mapping->path).filename().string();
    const std::uint64_t moduleOffset = address - bases.at(mapping->path);
    std::string symbol = module;
    std::uint64_t offset = moduleOffset;
    if (auto base = loadedBase(modules, mapping->path)) {
      const std::uint64_t here = *base + moduleOffset;
      Dl_info info{};
      const std::uint64_t lookup = index == 0 ? here : here - 1;
      if (::dladdr(reinterpret_cast<void*>(lookup), &info) && info.dli_sname && info.dli_saddr) {
        symbol = demangle(info.dli_sname);
        offset = here - reinterpret_cast<std::uint64_t>(info.dli_saddr);
      }
    }
    symbols.push_back(line(index, module, address, symbol, offset));
  }
  return symbols;
}

std::string CrashSymbolizer::demangle(const std::string& name) {
  int status = 0;
  char* readable = abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status);
  if (status != 0 || !readable) return name;
  std::string text(readable);
  std::free(readable);
  return text;
}

}  // namespace obx::platform
