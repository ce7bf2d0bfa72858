// What the fuzz targets share: the check that stops a run when a property of a reader breaks,
// and a private scratch folder for the targets that read their input from a file, as the
// program does.
//
// A target turns any bytes into a value or an error; beyond "no crash, no undefined behaviour"
// it checks the properties the product relies on (a decoded record survives its own encoding,
// a value that was set reads back). A broken property aborts, and libFuzzer keeps the input.
//
//   pluvo::fuzz::require(again == *packet, "a packet reads back as it was written");
//   std::filesystem::path folder = pluvo::fuzz::scratchFolder();  // under $TMPDIR
//
// Thread safety: the targets run on one thread.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

namespace pluvo::fuzz {

inline void require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "fuzz: property broken: %s\n", property);
  std::abort();
}

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// A folder of this process under $TMPDIR (scripts/run fuzz points it at memory), removed when
// the run ends normally.
inline const std::filesystem::path& scratchFolder() {
  struct Folder {
    std::filesystem::path path;
    Folder() {
      std::string pattern = (std::filesystem::temp_directory_path() / "pluvo-fuzz-XXXXXX").string();
      if (::mkdtemp(pattern.data()) == nullptr) {
        std::perror("fuzz: cannot make a scratch folder");
        std::abort();
      }
      path = pattern;
    }
    ~Folder() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
  };
  static const Folder folder;
  return folder.path;
}

// Replaces `path` with `bytes` (plainly: a reader must cope with any file, whole or not).
inline void writeFile(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  require(static_cast<bool>(out), "the scratch file is written");
}

}  // namespace pluvo::fuzz
