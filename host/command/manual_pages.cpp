#include "host/command/manual_pages.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "host/command/help.hpp"
#include "engine/run/library.hpp"
#include "engine/text/words.hpp"

namespace host {
namespace {

/// What a program that formats pages would take for its own, in the escapes that print it.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '\\':
        result += "\\e";
        break;
      case '-':
        result += "\\-";
        break;
      case '\'':
        result += "\\(aq";
        break;
      case '"':
        result += "\\(dq";
        break;
      case '`':
        result += "\\(ga";
        break;
      case '^':
        result += "\\(ha";
        break;
      case '~':
        result += "\\(ti";
        break;
      default:
        result += c;
    }
  }
  return result;
}

/// A line of text; one that starts with a dot is no request.
std::string text_line(std::string_view text) {
  return (text.starts_with('.') ? "\\&" : "") + escaped(text) + "\n";
}

std::string bold(std::string_view text) {
  return "\\fB" + escaped(text) + "\\fR";
}

std::string section(std::string_view title, const std::string &content) {
  return content.empty() ? std::string{} : fmt::format(".SH {}\n{}", title, content);
}

/// A term, already escaped, with what it means below.
std::string item(std::string_view term, std::string_view meaning) {
  return fmt::format(".TP\n{}\n{}", term, text_line(meaning));
}

/// The text below a help: its examples, and its other paragraphs.
struct Footer {
  std::string examples;
  std::string paragraphs;
};

Footer footer_of(const CLI::App &app) {
  Footer footer;
  const std::string text = app.get_footer();
  bool in_examples = false;
  for (const std::string_view line : split(text, '\n')) {
    if (line == "Examples:") {
      in_examples = true;
    } else if (in_examples && line.starts_with("  ")) {
      footer.examples += text_line(line.substr(2));
    } else if (line.empty()) {
      in_examples = false;
      footer.paragraphs += footer.paragraphs.empty() || footer.paragraphs.ends_with(".PP\n") ? "" : ".PP\n";
    } else {
      footer.paragraphs += text_line(line);
    }
  }
  if (!footer.examples.empty())
    footer.examples = ".EX\n" + footer.examples + ".EE\n";
  return footer;
}

/// The options of a command, an item each, those that stand by their place first.
std::vector<std::string> options_of(const CLI::App &command) {
  const HelpFormatter format;
  std::vector<std::string> items;
  for (const bool positional : {true, false})
    for (const CLI::Option *option : command.get_options()) {
      if (option->get_positional() != positional || option->get_group().empty())
        continue;
      std::string term = bold(format.make_option_name(option, positional));
      const std::string value = format.make_option_opts(option);
      if (!value.empty() && !positional)
        term += escaped(value);
      items.push_back(item(term, option->get_description()));
    }
  return items;
}

/// A command as it is typed.
std::string synopsis_of(const CLI::App &command, std::string_view words) {
  const HelpFormatter format;
  std::string synopsis = bold(words);
  const auto named = command.get_options([](const CLI::Option *option) { return option->nonpositional(); });
  if (!named.empty())
    synopsis += " [\\fIOPTIONS\\fR]";
  for (const CLI::Option *option : command.get_options())
    if (option->get_positional())
      synopsis += " \\fI" + escaped(format.make_option_usage(option)) + "\\fR";
  return synopsis + "\n";
}

/// "Run a macro" in the line that is searched for what a command does.
std::string summary_of(const CLI::App &command) {
  std::string summary = command.get_description();
  if (summary.size() > 1 && summary[0] >= 'A' && summary[0] <= 'Z' && (summary[1] < 'A' || summary[1] > 'Z'))
    summary[0] = static_cast<char>(summary[0] - 'A' + 'a');
  if (summary.ends_with('.'))
    summary.pop_back();
  return summary;
}

std::string head_of(const std::string &name, const CLI::App &command) {
  return fmt::format(".TH \"{}\" 1 \"\" \"macrodebug {}\" \"User Commands\"\n", escaped(name), MACRODEBUG_VERSION)
         + section("NAME", fmt::format("{} \\- {}", escaped(name), text_line(summary_of(command))));
}

std::string in_a_row(const std::vector<std::string> &items) {
  return fmt::format("{}", fmt::join(items, ""));
}

/// The parts of a command such as "jtag": each with its options, those that all of them have once at the end.
std::string parts_of(const std::vector<const CLI::App *> &parts, const std::string &words) {
  std::vector<std::string> common = options_of(*parts.front());
  for (const CLI::App *part : parts) {
    const std::vector<std::string> own = options_of(*part);
    std::erase_if(common, [&](const std::string &option) { return std::ranges::find(own, option) == own.end(); });
  }
  std::string text;
  for (const CLI::App *part : parts) {
    std::vector<std::string> own = options_of(*part);
    std::erase_if(own, [&](const std::string &option) { return std::ranges::find(common, option) != common.end(); });
    const std::string typed = fmt::format("{} {}", words, part->get_name());
    text += fmt::format(".SS \"{}\"\n", escaped(typed)) + text_line(part->get_description() + ".") + in_a_row(own);
  }
  return section("COMMANDS", text) + section("OPTIONS OF ALL OF THEM", in_a_row(common));
}

std::string synopses_of(const std::vector<const CLI::App *> &parts, const std::string &words) {
  std::vector<std::string> synopses;
  synopses.reserve(parts.size());
  for (const CLI::App *part : parts)
    synopses.push_back(synopsis_of(*part, fmt::format("{} {}", words, part->get_name())));
  return fmt::format("{}", fmt::join(synopses, ".br\n"));
}

std::string page_of_command(const CLI::App &app, const CLI::App &command) {
  const std::string words = fmt::format("{} {}", app.get_name(), command.get_name());
  const std::vector<const CLI::App *> parts = commands_shown(command);
  const Footer footer = footer_of(command);
  const std::string description = text_line(command.get_description() + ".");
  return head_of(fmt::format("{}-{}", app.get_name(), command.get_name()), command)
         + section("SYNOPSIS", parts.empty() ? synopsis_of(command, words) : synopses_of(parts, words))
         + section("DESCRIPTION", footer.paragraphs.empty() ? description : description + ".PP\n" + footer.paragraphs)
         + (parts.empty() ? section("OPTIONS", in_a_row(options_of(command))) : parts_of(parts, words))
         + section("EXAMPLES", footer.examples) + section("SEE ALSO", fmt::format(".BR {} (1)\n", app.get_name()));
}

/// What every command ends with.
std::string exit_status() {
  constexpr std::array<std::string_view, 3> MEANINGS{
      "It ended without failure, and what was expected held.",
      "A macro or an access failed, or something was found.",
      "Wrong usage or input, or output that could not be written; one line on standard error says which.",
  };
  std::string text;
  for (std::size_t status = 0; status < MEANINGS.size(); ++status)
    text += item(bold(std::to_string(status)), MEANINGS[status]);
  return text;
}

std::string page_of_program(const CLI::App &app) {
  const Footer footer = footer_of(app);
  std::string commands;
  std::vector<std::string> pages;
  for (const CLI::App *command : commands_shown(app)) {
    const std::string page = escaped(fmt::format("{}-{}", app.get_name(), command->get_name()));
    commands += item(fmt::format("\\fB{}\\fR(1)", page), command->get_description() + ".");
    pages.push_back(fmt::format(".BR {} (1)", page));
  }
  return head_of(app.get_name(), app)
         + section("SYNOPSIS", bold(app.get_name()) + " \\fICOMMAND\\fR [\\fIOPTIONS\\fR]\n")
         + section("DESCRIPTION", text_line(app.get_description()) + ".PP\n" + footer.paragraphs)
         + section("COMMANDS", commands) + section("OPTIONS", in_a_row(options_of(app)))
         + section("ENVIRONMENT", item(bold(LIBRARY_VARIABLE),
                                       "Macro libraries to load, joined by ':', where "
                                       "--library names none."))
         + section("EXIT STATUS", exit_status()) + section("EXAMPLES", footer.examples)
         + section("SEE ALSO", fmt::format("{}\n", fmt::join(pages, ",\n")));
}

}  // namespace

std::vector<ManualPage> manual_of(const CLI::App &app) {
  std::vector<ManualPage> pages{{app.get_name(), page_of_program(app)}};
  for (const CLI::App *command : commands_shown(app))
    pages.push_back({fmt::format("{}-{}", app.get_name(), command->get_name()), page_of_command(app, *command)});
  return pages;
}

}  // namespace host
