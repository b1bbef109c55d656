#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>

#include "cli/command.h"
#include "cli/console.h"
#include "cli/help_pages.h"
#include "cli/interrupt.h"
#include "cli/progress.h"
#include "cli/terminal.h"
#include "trqprep/atomic_output.h"
#include "trqprep/immortal.h"
#include "trqprep/job.h"
#include "trqprep/paths.h"
#include "trqprep/suggestions.h"
#include "trqprep/temporary_path.h"

namespace trqprep {
namespace {

// The version of the documents that commands print; docs/schemas/README.md says when it grows.
constexpr const char* kDocumentVersion = "/2";
constexpr const char* kUsageSchema = "trqprep.usage/2";

// What the ways out that run no destructors have to say. Guarded by HoldTemporaryPaths.
struct LastWords {
  bool json = false;
  bool said = false;  // the result is out, or on its way
  std::string schema = kUsageSchema;
  std::string units = "mm";
  const Context* context = nullptr;
};

Immortal<LastWords> last_words_room;
LastWords& last_words = last_words_room.value;

Json Document(const std::string& schema, ExitCode exit, const std::string& units, Json data,
              const std::vector<Message>& messages) {
  Json document{{"schema", schema},
                {"tool", ToolName()},
                {"ok", exit == ExitCode::kDone},
                {"exit", int(exit)},
                {"units", units}};
  document["data"] = std::move(data);
  Json& said = document["messages"] = Json::array();
  for (const Message& message : messages) said.push_back(MessageToJson(message));
  return document;
}

void SayLast(ExitCode exit, Message message) {
  message = WithHint(std::move(message));
  EraseProgressUnlocked();
  WriteErrorStreamNow(RenderMessage(message, ErrorStreamHasColour()));
  if (!last_words.json || last_words.said) return;
  WriteStandardOutput(
      JsonDocument(Document(last_words.schema, exit, last_words.units, Json::object(), {message})));
}

void SayInterrupted() {
  SayLast(ExitCode::kInterrupted,
          Message(Code::kInterrupted, "", "interrupted; nothing was left half written"));
}

// Built without memory, so not from the table.
constexpr const char* kNoMemory =
    "trqprep: error: there is not enough memory for this [NO-MEMORY]\n"
    "  hint: simplify the parts, or divide the work\n";

[[noreturn]] void EndBadly() {
  const char* why =
      "trqprep: error: the library ended in a way that cannot be handled [INTERNAL]\n"
      "  hint: please report it with the command and the files\n";
  try {
    if (const std::exception_ptr cause = std::current_exception()) std::rethrow_exception(cause);
  } catch (const std::bad_alloc&) {
    why = kNoMemory;
  } catch (...) {
  }
  try {
    RemoveTemporaryPaths();
  } catch (...) {
    // Without memory no folder can be listed.
  }
  WriteErrorStreamNow(why);
  EndProcess(int(ExitCode::kInternal));
}

// Given back when memory runs out, so that there is some for the last words.
void* reserve = nullptr;
constexpr size_t kReserve = 256 << 10;

// Memory ran out: ends the program here and now, because not everything that the tool is built from survives
// being unwound without memory.
[[noreturn]] void EndWithoutMemory() {
  static std::atomic<bool> begun{false};
  if (begun.exchange(true)) {  // not even enough for the last words, or a second thread
    WriteErrorStreamNow(kNoMemory);
    EndProcess(int(ExitCode::kInternal));
  }
  std::free(reserve);
  RemoveTemporaryPaths();
  SayLast(ExitCode::kInternal,
          Message(Code::kNoMemory, last_words.context ? last_words.context->current_file : "",
                  "there is not enough memory for this"));
  EndProcess(int(ExitCode::kInternal));
}

// Before the static initialisers, which may run out of memory as well.
__attribute__((constructor(101))) void PrepareForTheWorst() {
  std::set_terminate(EndBadly);
  reserve = std::malloc(kReserve);
  std::set_new_handler(EndWithoutMemory);
}

// Writes the result; what was asked for and could not be written is a failure of its own.
int Finish(Context& context, const std::string& schema, ExitCode exit) {
  EndProgress();
  Json document;
  if (context.options.json) {
    document = Document(schema, exit, UnitsName(context.data_units.value_or(context.units())),
                        std::move(context.data), context.messages());
  }
  {
    const auto hold = HoldTemporaryPaths();
    last_words.said = true;
  }
  int error = 0;
  const auto write = [&error](std::string_view piece) {
    if (error == 0)
      error = StandardOutputHoldsOutput() ? (WriteErrorStream(std::string(piece)), 0)
                                          : WriteStandardOutput(piece);
  };
  if (context.options.json) {
    WriteJsonDocument(document, write);
  } else {
    context.WriteText(write);
  }
  if (error != 0) {
    context.Error(Message(Code::kOutputUnwritable, "standard output", SystemText(error)));
    if (exit == ExitCode::kDone || exit == ExitCode::kNo) exit = ExitCode::kOutput;
  }
  return int(exit);
}

// "trqprep.style.show/2" for the command `trqprep style show`.
std::string SchemaOf(const CLI::App& app) {
  std::string path = PathOf(app);
  for (char& c : path) {
    if (c == ' ') c = '.';
  }
  return path + kDocumentVersion;
}

CLI::App& DeepestParsed(CLI::App& root) {
  CLI::App* app = &root;
  while (!app->get_subcommands().empty()) app = app->get_subcommands().front();
  return *app;
}

std::vector<std::string> OptionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : NamesOf(*option)) names.push_back(name);
  }
  return names;
}

std::vector<std::string> CommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* sub : SubsOf(app)) names.push_back(sub->get_name());
  return names;
}

std::string HelpHint(const CLI::App& app) {
  return app.get_parent() ? "'" + PathOf(app) + " --help' lists the options"
                          : "'trqprep help' lists the commands";
}

// The commands below `app` that take an option of that name, as they are typed.
void FindOption(const CLI::App& app, const std::string& name, std::vector<std::string>& commands) {
  const std::vector<std::string> names = OptionNames(app);
  if (std::find(names.begin(), names.end(), name) != names.end()) commands.push_back("'" + PathOf(app) + "'");
  for (const CLI::App* sub : SubsOf(app)) FindOption(*sub, name, commands);
}

// What may have been meant by an option that `app` does not have.
std::string HintForOption(const CLI::App& app, const CLI::App& root, const std::string& given,
                          const std::string& name) {
  // Names of options of one letter are followed by nothing, or by their value behind a blank.
  if (name.size() > 2 && name[1] != '-') {
    return fmt::format("a file of that name is written ./{0}, or behind --: -- {0}", given);
  }
  for (const JobField<PartRequest>& field : PartFields()) {
    if (field.option && name == std::string("--") + field.option) {
      return fmt::format("it belongs to a part and is written behind it: PART.stl,{}=VALUE", field.option);
    }
  }
  std::vector<std::string> commands;
  FindOption(root, name, commands);
  if (commands.empty()) return DidYouMean(name, OptionNames(app));
  constexpr size_t kMost = 4;
  const bool more = commands.size() > kMost;
  if (more) commands.resize(kMost);
  return fmt::format("it is an option of {}{}; {}", fmt::join(commands, ", "), more ? " and others" : "",
                     HelpHint(app));
}

// What the command line holds that no command takes, worded for a person; nothing when all was taken.
std::optional<Message> LeftOver(const CLI::App& app, const CLI::App& root) {
  const std::vector<std::string> rest = app.remaining();
  // "--" itself is left over too; what follows it is an argument, whatever it looks like.
  const bool after_mark = !rest.empty() && rest[0] == "--";
  if (rest.size() == (after_mark ? 1u : 0u)) return std::nullopt;
  const std::string& first = rest[after_mark ? 1 : 0];
  if (!after_mark && first.size() > 1 && first[0] == '-') {
    const std::string name = first.substr(0, first.find('='));
    return Message(Code::kUsage, "", "unknown option " + name).Hint(HintForOption(app, root, first, name));
  }
  if (!CommandNames(app).empty()) {
    return Message(Code::kUsage, "", "unknown command '" + first + "'")
        .Hint(DidYouMean(first, CommandNames(app)));
  }
  return Message(Code::kUsage, "", "unexpected argument '" + first + "'").Hint(HelpHint(app));
}

std::optional<Message> FirstLeftOver(const CLI::App& root) {
  for (const CLI::App* app = &root;; app = app->get_subcommands().front()) {
    if (auto left_over = LeftOver(*app, root)) return left_over;
    if (app->get_subcommands().empty()) return std::nullopt;
  }
}

// CLI11's complaint about an option without its value, "--units: 1 required mm|in missing", for a person.
std::string Worded(const std::string& complaint) {
  const std::string begin = ": 1 required ", end = " missing";
  const size_t at = complaint.find(begin);
  const size_t stop = complaint.rfind(end);
  if (at == std::string::npos || stop == std::string::npos || stop + end.size() != complaint.size()) {
    return complaint;
  }
  const size_t type = at + begin.size();
  return complaint.substr(0, at) + " needs a value: " + complaint.substr(type, stop - type);
}

// CLI11 takes "[a,b]" as a list; a file of such a name gets a spelling that it leaves alone.
std::string KeepBracketedFile(const std::string& argument) {
  const bool bracketed = argument.size() > 1 && argument.front() == '[' && argument.back() == ']';
  return bracketed && Exists(argument) ? "./" + argument : argument;
}

// What the command writes: its -o or --svg, or else the file that it changes, its first argument.
std::string ResultOf(const CLI::App& app) {
  for (const char* name : {"--output", "--svg"}) {
    const CLI::Option* option = app.get_option_no_throw(name);
    if (option && option->count() > 0) {
      RequireUnreserved(option->results().front());
      return option->results().front();
    }
  }
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_positional() && option->count() > 0) return option->results().front();
  }
  return {};
}

// Puts the output that people know in the place of a temporary file that could not be written for it.
void NameResult(const Context& context, Failure& failure) {
  const std::string& file = failure.message.file;
  const size_t begin = ("/" + file).find("/.trqprep-");
  if (failure.exit != ExitCode::kOutput || context.result.empty() || begin == std::string::npos) return;
  const std::string folder = begin == 0 ? "./" : file.substr(0, begin);
  const size_t slash = context.result.rfind('/');
  const std::string own = slash == std::string::npos ? "./" : context.result.substr(0, slash + 1);
  if (folder != own) failure.message.text += fmt::format(" (a temporary file in {})", folder);
  failure.message.file = context.result;
}

}  // namespace

ExitCode TellVersion(Context& context) {
  context.text = ToolName() + "\n";
  context.State({{"version", ToolVersion()}});
  return ExitCode::kDone;
}

namespace {

ExitCode Run(Context& context, const CommandList& commands, std::vector<std::string> arguments,
             std::string& schema) {
  CommandTree tree(context, commands);
  CLI::App& root = tree.root();
  for (std::string& argument : arguments) argument = KeepBracketedFile(argument);
  std::reverse(arguments.begin(), arguments.end());  // as CLI11 takes them
  std::optional<Message> complaint;
  bool wants_help = false;
  try {
    root.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    wants_help = true;
  } catch (const CLI::CallForVersion&) {
    schema = std::string("trqprep.version") + kDocumentVersion;
    return TellVersion(context);
  } catch (const CLI::ParseError& error) {
    complaint = Message(Code::kUsage, "", Worded(error.what()));
  }
  CLI::App& app = DeepestParsed(root);
  Command* command = tree.Find(&app);
  const bool runs = command && command->run;
  schema = wants_help ? std::string("trqprep.help") + kDocumentVersion : runs ? SchemaOf(app) : kUsageSchema;
  {
    const auto hold = HoldTemporaryPaths();
    last_words.schema = schema;
    last_words.json = context.options.json;
    last_words.units = context.options.units;
  }
  if (wants_help) {
    context.text = HelpText(tree, app);
    context.State({{"help", context.text}});
    return ExitCode::kDone;
  }
  // An option with a spelling mistake explains most other complaints.
  if (auto left_over = FirstLeftOver(root)) complaint = left_over;
  if (complaint) {
    if (complaint->hint.empty()) complaint->Hint(HelpHint(app));
    Fail(ExitCode::kUsage, *complaint);
  }
  if (!runs) {
    FailUsage(
        "", app.get_parent() ? "'" + PathOf(app) + "' needs a verb" : std::string("no command given"),
        app.get_parent() ? "one of " + fmt::format("{}", fmt::join(CommandNames(app), ", ")) : HelpHint(app));
  }
  if (context.options.json) ReserveStandardOutput();
  context.result = ResultOf(app);
  const MessageBoxes boxes(context);
  return command->run(context);
}

}  // namespace

int RunCommandLine(const CommandList& commands, int argc, char** argv) {
  RememberUmask();
  TakeStandardOutput();
  Context context;
  const std::vector<std::string> arguments = Arguments(argc, argv);
  std::string schema = kUsageSchema;
  // A command line that cannot be parsed gets its document too.
  const auto options_end = std::find(arguments.begin(), arguments.end(), "--");
  context.options.json = std::find(arguments.begin(), options_end, "--json") != options_end;
  last_words.json = context.options.json;
  last_words.context = &context;
  ExitCode exit = ExitCode::kInternal;
  try {
    try {
      WatchSignals(SayInterrupted);
      exit = Run(context, commands, arguments, schema);
      context.TellGathered();
    } catch (Failure& failure) {
      NameResult(context, failure);
      exit = failure.exit;
      if (exit == ExitCode::kOutput) context.text.clear();  // it tells of what was not done
      context.TellGathered();
      context.Say(failure.message);
    } catch (const std::bad_alloc&) {
      context.Error(Message(Code::kNoMemory, context.current_file, "there is not enough memory for this"));
    } catch (const std::system_error& error) {
      // The watcher thread did not start: there was no room for it.
      context.Error(Message(Code::kNoMemory, context.current_file, error.what()));
    } catch (const std::exception& error) {
      context.Error(Message(Code::kInternal, context.current_file, error.what()));
    } catch (...) {
      // The library throws a few values that are no exceptions; those that can be expected are met nearer by.
      context.Error(Message(Code::kInternal, context.current_file, "the library gave up"));
    }
    return Finish(context, schema, exit);
  } catch (const std::bad_alloc&) {
    RemoveTemporaryPaths();
    WriteErrorStream(kNoMemory);
    return int(ExitCode::kInternal);
  }
}

}  // namespace trqprep
