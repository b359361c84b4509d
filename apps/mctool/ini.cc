// mctool ini get | set: INI files through the library's readers and writer.
#include <cstdio>
#include <filesystem>
#include <optional>

#include "common.h"

namespace mctool {

namespace {

struct IniArgs {
  std::string file, section, key, value;
  bool preferences = false;
};

// The name given to the library: a name without '/' would be looked up in
// the preferences directory, so a path in the current directory gets "./".
std::string LibraryName(const IniArgs &a) {
  if (a.preferences || a.file.find('/') != std::string::npos) return a.file;
  return "./" + a.file;
}

void AddArgs(CLI::App *cmd, IniArgs &a) {
  cmd->add_option("FILE", a.file, "INI file")->required();
  cmd->add_option("SECTION", a.section, "Section (matched without regard to case)")->required();
  cmd->add_option("KEY", a.key, "Key (matched without regard to case)")->required();
  cmd->add_flag("-p,--preferences", a.preferences,
                "Look FILE up in the preferences directory ($MC_PREFERENCES_DIR, else /Library/Preferences)");
}

}  // namespace

void AddIniCommands(CLI::App &app) {
  CLI::App *ini = app.add_subcommand("ini", "Read and write INI files");
  ini->require_subcommand(1);

  static IniArgs get;
  CLI::App *getCmd = ini->add_subcommand("get", "Print the value of a key; exit code 1 when it is absent");
  AddArgs(getCmd, get);
  getCmd->callback([] {
    const std::string name = LibraryName(get);
    if (!get.preferences && !std::filesystem::exists(name)) Fail(get.file + ": no such file");
    const std::optional<std::string> v = mc::ini::read(name, get.section, get.key);
    if (!v) Fail("[" + get.section + "] " + get.key + ": absent from " + get.file, kNegative);
    std::printf("%s\n", v->c_str());
  });

  static IniArgs set;
  CLI::App *setCmd = ini->add_subcommand("set", "Write a key's value, adding the key or section when absent");
  setCmd->footer(
      "The file is rewritten whole through a temporary file, renamed over it; for a\n"
      "path outside the preferences directory the temporary file is made beside it.");
  AddArgs(setCmd, set);
  setCmd->add_option("VALUE", set.value, "Value")->required();
  setCmd->callback([] {
    const std::string name = LibraryName(set);
    std::optional<ScopedEnv> env;
    if (!set.preferences) {
      std::string dir = std::filesystem::path(name).parent_path().string();
      if (!std::filesystem::is_directory(dir)) Fail(set.file + ": no such directory");
      env.emplace("MC_PREFERENCES_DIR", std::filesystem::absolute(dir).string());
    }
    if (!mc::ini::write(name, set.section, set.key, set.value)) Fail(set.file + ": could not be written");
  });
}

}  // namespace mctool
