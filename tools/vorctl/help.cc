#include "help.h"

namespace vorctl {
namespace {

class Formatter final : public CLI::Formatter {
 public:
  Formatter() { column_width(28); }

  // "-h, --help" rather than the parser's "-h,--help".
  std::string make_option_name(const CLI::Option* option, bool positional) const override {
    std::string name = CLI::Formatter::make_option_name(option, positional);
    for (std::size_t at = 0; (at = name.find(',', at)) != std::string::npos; at += 2) name.insert(at + 1, " ");
    return name;
  }
  // An option's value by the name the help gives it; a positional's name is
  // enough ("PATH", its usage line says "PATH...").
  std::string make_option_opts(const CLI::Option* option) const override {
    if (option->get_positional() || option->get_type_name().empty() || option->get_expected_min() == 0) {
      return {};
    }
    return " " + option->get_type_name();
  }
};

}  // namespace

void SetUpHelp(CLI::App& app) {
  app.formatter(std::make_shared<Formatter>());
  app.set_help_flag("-h,--help", "print this help and exit");
}

std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error) {
  const auto* extras = dynamic_cast<const CLI::ExtrasError*>(&error);
  const std::vector<std::string> left = app.remaining();
  if (extras != nullptr && !left.empty() && app.get_subcommands().empty() && left.front()[0] != '-') {
    std::string text = "unknown command '" + left.front() + "'; the commands are:";
    for (const CLI::App* command : app.get_subcommands({})) text += " " + command->get_name();
    return text;
  }
  if (extras != nullptr && !left.empty()) {
    const CLI::App* command = app.get_subcommands().empty() ? &app : app.get_subcommands().front();
    return "unexpected argument '" + left.front() + "'" +
           (command == &app ? std::string() : " for " + command->get_name());
  }
  return error.what();
}

}  // namespace vorctl
