// mctool: looks into what the library reads and writes, without writing code:
// tables files, binary table files, coded messages, signatures, INI files.
#include <cstdio>

#include "common.h"

int main(int argc, char **argv) {
  CLI::App app{"mctool: inspect and make the files and messages of libmc"};
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("mctool, library version ") + MC_VERSION_LIBRAIRIE);
  app.footer(
      "Exit codes: 0 done; 1 the answer is no (signature or check fails, key absent);\n"
      "2 bad command line; 3 an input is missing or unreadable, or the library failed.");
  mctool::AddTablesCommands(app);
  mctool::AddDumpCommand(app);
  mctool::AddZoneCommands(app);
  mctool::AddSignatureCommands(app);
  mctool::AddIniCommands(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &e) {
    return app.exit(e);
  } catch (const CLI::ParseError &e) {
    app.exit(e);
    return mctool::kUsage;
  } catch (const mctool::Failure &e) {
    // What was printed comes first, whatever the streams are tied to.
    std::fflush(stdout);
    std::fprintf(stderr, "mctool: %s\n", e.what());
    return e.code();
  } catch (const std::exception &e) {
    std::fflush(stdout);
    std::fprintf(stderr, "mctool: %s\n", e.what());
    return mctool::kInput;
  }
  return mctool::kOk;
}
