// What the fuzz targets share: the check that stops a run when a property of a reader breaks,
// and a private scratch folder for the targets that read their input from a file, as the
// program does.
//
// A target turns any bytes into a value or an error; beyond "no crash, no undefined behaviour"
// it checks the properties the product relies on (a decoded record survives its own encoding,
// a value that was set reads back). A broken property aborts, and libFuzzer keeps the input.
//
//   pluvo::fuzz::require(again == *packet, "a packet reads back as it was written");
//   auto packet = pluvo::fuzz::requireRoundTrip(bytes, decodeChartPacket, encodeChartPacket,
//                                               "packet");
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

[[noreturn]] inline void fail(std::string_view property) {
  std::fprintf(stderr, "fuzz: property broken: %.*s\n", static_cast<int>(property.size()),
               property.data());
  std::abort();
}

inline void require(bool holds, const char* property) {
  if (!holds) fail(property);
}

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// The round trip of a reader and its writer: decodes `bytes`, and a failure must say why; a
// decoded value must encode and read back equal. `what` names the value in the properties
// ("packet": "a decoded packet encodes"). Returns what `decode` gave.
template <class Decode, class Encode>
auto requireRoundTrip(std::string_view bytes, Decode decode, Encode encode, std::string_view what) {
  auto value = decode(bytes);
  if (!value) {
    require(!value.error().message.empty(), "a failed decode says why");
    return value;
  }
  auto encoded = encode(*value);
  if (!encoded) fail("a decoded " + std::string(what) + " encodes");
  auto again = decode(*encoded);
  if (!again || !(*again == *value)) {
    fail("a " + std::string(what) + " reads back as it was written");
  }
  return value;
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
