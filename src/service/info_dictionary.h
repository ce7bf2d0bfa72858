// The extension bundle's information dictionary (its Info.plist).
//
// The build places the widget host's executable in `PluvoWidgetExtension.appex/` beside an
// `Info.plist`, as the phone's bundle does; an install puts one in `<prefix>/share/pluvo/`, and
// the user's own in `~/.config/pluvo/` overrides both. The CLI's --info names another file. Only
// the top-level entries are kept: text values as text, every other value (and a text holding a NUL
// byte) as "present, not text", so that a lookup can tell a mistyped key from an absent one.
// Property lists in XML and binary form are both read (libplist).
//
//   Expected<InfoDictionary> info = loadInfoDictionary("PluvoWidgetExtension.appex/Info.plist");
//   if (info) if (const std::string* base = info->text("PluvoAPIBaseURL")) ...
//
// Thread safety: plain values and free functions; may run on any thread.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"

namespace pluvo::service {

struct InfoDictionary {
  // Key -> text value; nullopt for a value of another type (number, array, dictionary, ...).
  std::map<std::string, std::optional<std::string>, std::less<>> entries;

  // The text under `key`; nullptr when the key is absent or its value is not text.
  const std::string* text(std::string_view key) const;

  bool operator==(const InfoDictionary&) const = default;
};

// Reads a property list whose top level is a dictionary; the error says what is wrong.
Expected<InfoDictionary> parseInfoDictionary(std::string_view bytes);

// Reads and parses a file; errors name the file ("cannot read /x/Info.plist: No such file ...").
Expected<InfoDictionary> loadInfoDictionary(const std::filesystem::path& path);

// Where this process looks for its dictionary when no file is named, the first that exists
// winning: the user's `$XDG_CONFIG_HOME/pluvo/Info.plist` (default ~/.config), the `Info.plist`
// beside the running executable (the build's extension bundle), then the installed one,
// `../share/pluvo/Info.plist` from the executable's folder. Nothing depends on where the
// program was built, so an installed tree can move.
std::vector<std::filesystem::path> infoDictionarySearchPath();
std::optional<std::filesystem::path> findInfoDictionary();

}  // namespace pluvo::service
