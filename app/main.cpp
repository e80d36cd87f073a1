// The terminal program: reads the command line, opens the settings, runs one subcommand.
#include "app/Commands.h"
#include "app/PreferencesController.h"
#include "app/Startup.h"
#include "platform/Log.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace {

using namespace vurl;

struct Arguments {
  std::string defaults_file = UserDefaults::standardPath();
  std::vector<std::string> settings;
  bool verbose = false;
  bool devices_json = false;
  bool doctor_json = false;
  bool history_json = false;
  bool open_report = false;
  RecordOptions record;
  PlayOptions play;
  LayoutOptions layout;
  InfoOptions info;
  RepairOptions repair;
  std::optional<std::string> key;
  std::optional<std::string> value;
};

/// Nothing, or what is wrong with a duration.
std::string aboveZero(const std::string& seconds) {
  double value = 0;
  const bool fine = CLI::detail::lexical_cast(seconds, value) && value > 0 && value < 1e9;
  return fine ? "" : text("it is a number of seconds above 0, not \"%@\"", seconds);
}

void describeRecord(CLI::App& app, RecordOptions& options) {
  CLI::App* const record = app.add_subcommand("record", "Record a take; q or Ctrl-C ends it");
  record
      ->add_option_function<std::string>(
          "--device", [&options](const std::string& name) { options.device = name; },
          "The device to record from: its name or a part of it")
      ->type_name("NAME");
  record
      ->add_option_function<std::string>(
          "--clock-source", [&options](const std::string& name) { options.clock_source = name; },
          "The device's clock source: its name or a part of it")
      ->type_name("NAME");
  record->add_flag("--auto-start", options.auto_start, "Record take after take while timecode is locked");
  record->add_option("--duration", options.duration, "End this many seconds behind the take's first sample")
      ->type_name("SECONDS")
      ->check(CLI::Validator([](const std::string& seconds) { return aboveZero(seconds); }, "", ""));
  record->add_flag("--json", options.json, "Print one JSON object per finished take");

  const std::pair<const char*, std::optional<std::string>*> texts[] = {
      {"project", &options.project}, {"scene", &options.scene}, {"slate", &options.slate},
      {"take", &options.take},       {"roll", &options.roll},   {"note", &options.note}};
  for (const auto& [name, value] : texts)
    record->add_option(text("--%@", name), *value, text("Set the %@, and remember it", name))->type_name("TEXT");
}

void describePlay(CLI::App& app, PlayOptions& options) {
  CLI::App* const play =
      app.add_subcommand("play", "Play a take, the last one unless told otherwise; s, q or Ctrl-C ends it");
  play->add_option("take", options.take, "A file of the take, or its number in the history")->type_name("TAKE");
  play->add_option("--device", options.device, "The device to play through: its name or a part of it")
      ->type_name("NAME");
}

void describeLayout(CLI::App& app, LayoutOptions& options) {
  CLI::App* const layout = app.add_subcommand("layout", "Show how channels go into files, and route them anew");
  layout
      ->add_option("--auto", options.auto_configuration,
                   "Route: 1 mono files in every folder, 2 a polyphonic file in every folder, 3 stereo in the first "
                   "folder and mono in the others, 4 stereo and polyphonic, 5 polyphonic and mono")
      ->type_name("1..5")
      ->check(CLI::Range(1, 5));
  layout->add_flag("--matrix", options.matrix, "Print the routing as a grid");
}

/// What reads and completes take files.
void describeFiles(CLI::App& app, Arguments& arguments) {
  CLI::App* const info = app.add_subcommand("info", "Tell what take files say of themselves");
  info->add_option("file", arguments.info.files, "Take files")->type_name("FILE")->required();
  info->add_flag("--chunks", arguments.info.chunks, "List the chunks of each file as well");
  info->add_flag("--json", arguments.info.json, "Print a JSON array");

  CLI::App* const repair = app.add_subcommand("repair", "Complete takes that were cut off by a crash");
  repair->add_option("path", arguments.repair.paths, "Take files, or folders of them; or the destination folders")
      ->type_name("FILE");
  repair->add_flag("--dry-run", arguments.repair.dry_run, "Tell what would be done, and change nothing");
  repair->add_flag("--json", arguments.repair.json, "Print a JSON array");
}

/// The options of all commands, and the commands in the order in which the help lists them.
void describe(CLI::App& app, Arguments& arguments) {
  app.fallthrough();
  app.require_subcommand(1);
  app.set_version_flag("--version", "vurl " VURL_VERSION, "Print the version");
  app.add_option("--defaults", arguments.defaults_file, "Use another settings file")->type_name("FILE");
  app.add_option("--set", arguments.settings, "Set a setting for this run only; may be given again")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  app.add_flag("-v,--verbose", arguments.verbose, "Show all log lines on standard error");

  CLI::App* const devices = app.add_subcommand("devices", "List the audio devices");
  devices->add_flag("--json", arguments.devices_json, "Print a JSON array");

  CLI::App* const doctor = app.add_subcommand("doctor", "Tell whether this computer is fit for a shoot");
  doctor->add_flag("--json", arguments.doctor_json, "Print a JSON object");

  describeRecord(app, arguments.record);
  describePlay(app, arguments.play);
  describeLayout(app, arguments.layout);
  describeFiles(app, arguments);

  CLI::App* const history = app.add_subcommand("history", "List the takes in the destination folders");
  history->add_flag("--json", arguments.history_json, "Print a JSON array");

  CLI::App* const report = app.add_subcommand("report", "Render the sound report of every destination folder");
  report->add_flag("--open", arguments.open_report, "Show it in the browser");

  CLI::App* const settings = app.add_subcommand("settings", "List the settings, or read or store one");
  settings->add_option("key", arguments.key, "The setting");
  settings->add_option("value", arguments.value, "Its new value");
}

int run(const CLI::App& app, const Arguments& arguments) {
  Log::showOnTerminal(arguments.verbose ? Log::Terminal::everything : Log::Terminal::warnings);
  UserDefaults defaults(arguments.defaults_file);
  const PreferencesController preferences(defaults);
  if (std::string reason; !applySettings(defaults, arguments.settings, reason)) {
    std::fprintf(stderr, "vurl: %s\n", reason.c_str());
    return kExitUsage;
  }
  if (app.got_subcommand("devices")) return runDevices(defaults, arguments.devices_json);
  if (app.got_subcommand("doctor")) return runDoctor(defaults, arguments.doctor_json);
  if (app.got_subcommand("record")) return runRecord(defaults, arguments.record);
  if (app.got_subcommand("play")) return runPlay(defaults, arguments.play);
  if (app.got_subcommand("layout")) return runLayout(defaults, arguments.layout);
  if (app.got_subcommand("info")) return runInfo(defaults, arguments.info);
  if (app.got_subcommand("repair")) return runRepair(defaults, arguments.repair);
  if (app.got_subcommand("history")) return runHistory(defaults, arguments.history_json);
  if (app.got_subcommand("report")) return runReport(defaults, arguments.open_report);
  return runSettings(defaults, arguments.key, arguments.value);
}

} // namespace

int main(int argc, char** argv) {
  Arguments arguments;
  CLI::App app("Vurl Recorder: a multitrack location-sound recorder, from the terminal.", "vurl");
  describe(app, arguments);
  if (argc == 1) {
    std::fputs(app.help().c_str(), stderr);
    return kExitUsage;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitFine : kExitUsage;
  }
  prepareProcess();
  const int exit_code = run(app, arguments);
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return exit_code;
  std::fprintf(stderr, "vurl: The results could not be printed.\n");
  return exit_code == kExitFine ? kExitHarmed : exit_code;
}
