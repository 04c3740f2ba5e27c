#include "host/command/manual_pages.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "engine/run/library.hpp"
#include "engine/text/words.hpp"
#include "host/command/exit_status.hpp"
#include "host/command/help.hpp"

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

std::string examples_of(const CommandText &text) {
  std::string lines;
  for (const std::string &example : text.examples)
    lines += text_line(example);
  return section("EXAMPLES", lines.empty() ? lines : ".EX\n" + lines + ".EE\n");
}

/// A paragraph for each, the first being what the command does.
std::string description_of(std::string_view first, const CommandText &text) {
  std::string description = text_line(first);
  for (const std::string &paragraph : text.paragraphs)
    description += ".PP\n" + text_line(paragraph);
  return section("DESCRIPTION", description);
}

/// As a sentence: with a capital and a full stop.
std::string sentence_of(std::string_view text) {
  std::string sentence{text};
  if (!sentence.empty() && sentence.front() >= 'a' && sentence.front() <= 'z')
    sentence.front() = static_cast<char>(sentence.front() - 'a' + 'A');
  return sentence + ".";
}

std::string exit_status_of(const CommandText &text) {
  if (!text.endings)
    return {};
  std::string items;
  for (const ExitStatusInfo &info : EXIT_STATUSES) {
    const std::string_view own = text.endings->of(info.status);
    items += item(bold(std::to_string(static_cast<int>(info.status))), sentence_of(own.empty() ? info.meaning : own));
  }
  return section("EXIT STATUS", items);
}

/// The options of a command, an item each, those that stand by their place first.
std::vector<std::string> options_of(const Command &command) {
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
std::string synopsis_of(const Command &command, std::string_view words) {
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
std::string summary_of(const Command &command) {
  std::string summary = command.get_description();
  if (summary.size() > 1 && summary[0] >= 'A' && summary[0] <= 'Z' && (summary[1] < 'A' || summary[1] > 'Z'))
    summary[0] = static_cast<char>(summary[0] - 'A' + 'a');
  if (summary.ends_with('.'))
    summary.pop_back();
  return summary;
}

std::string head_of(const std::string &name, const Command &command) {
  return fmt::format(".TH \"{}\" 1 \"\" \"macrodebug {}\" \"User Commands\"\n", escaped(name), MACRODEBUG_VERSION)
         + section("NAME", fmt::format("{} \\- {}", escaped(name), text_line(summary_of(command))));
}

std::string in_a_row(const std::vector<std::string> &items) {
  return fmt::format("{}", fmt::join(items, ""));
}

/// The parts of a command such as "jtag": each with its options, and what all have that take more than --help once at
/// the end.
std::string parts_of(const std::vector<const Command *> &parts, const std::string &words) {
  std::vector<std::string> common;
  std::vector<std::string> bare;
  for (const Command *part : parts) {
    const std::vector<std::string> own = options_of(*part);
    if (own.size() == 1)
      bare.push_back(fmt::format("{} {}", words, part->get_name()));
    else if (common.empty())
      common = own;
    else
      std::erase_if(common, [&](const std::string &option) { return std::ranges::find(own, option) == own.end(); });
  }
  std::string text;
  for (const Command *part : parts) {
    std::vector<std::string> own = options_of(*part);
    std::erase_if(own, [&](const std::string &option) { return std::ranges::find(common, option) != common.end(); });
    const std::string typed = fmt::format("{} {}", words, part->get_name());
    text += fmt::format(".SS \"{}\"\n", escaped(typed)) + text_line(part->get_description() + ".") + in_a_row(own);
  }
  const std::string but =
      bare.empty() ? std::string{} : text_line(fmt::format("Of these, {} has --help alone.", fmt::join(bare, " and ")));
  return section("COMMANDS", text) + section("COMMON OPTIONS", but + in_a_row(common));
}

std::string synopses_of(const std::vector<const Command *> &parts, const std::string &words) {
  std::vector<std::string> synopses;
  synopses.reserve(parts.size());
  for (const Command *part : parts)
    synopses.push_back(synopsis_of(*part, fmt::format("{} {}", words, part->get_name())));
  return fmt::format("{}", fmt::join(synopses, ".br\n"));
}

std::string page_of_command(const Command &program, const Command &command) {
  const std::string words = fmt::format("{} {}", program.get_name(), command.get_name());
  const std::vector<const Command *> parts = command.parts_shown();
  const CommandText text = command.text();
  return head_of(fmt::format("{}-{}", program.get_name(), command.get_name()), command)
         + section("SYNOPSIS", parts.empty() ? synopsis_of(command, words) : synopses_of(parts, words))
         + description_of(text.summary + ".", text)
         + (parts.empty() ? section("OPTIONS", in_a_row(options_of(command))) : parts_of(parts, words))
         + exit_status_of(text) + examples_of(text)
         + section("SEE ALSO", fmt::format(".BR {} (1)\n", program.get_name()));
}

std::string page_of_program(const Command &program) {
  const CommandText text = program.text();
  std::string commands;
  std::vector<std::string> pages;
  for (const Command *command : program.parts_shown()) {
    const std::string page = escaped(fmt::format("{}-{}", program.get_name(), command->get_name()));
    commands += item(fmt::format("\\fB{}\\fR(1)", page), command->get_description() + ".");
    pages.push_back(fmt::format(".BR {} (1)", page));
  }
  return head_of(program.get_name(), program)
         + section("SYNOPSIS", bold(program.get_name()) + " \\fICOMMAND\\fR [\\fIOPTIONS\\fR]\n")
         + description_of(text.summary, text) + section("COMMANDS", commands)
         + section("OPTIONS", in_a_row(options_of(program)))
         + section("ENVIRONMENT", item(bold(LIBRARY_VARIABLE),
                                       "Macro libraries to load, joined by ':', where "
                                       "--library names none."))
         + exit_status_of(text) + examples_of(text) + section("SEE ALSO", fmt::format("{}\n", fmt::join(pages, ",\n")));
}

}  // namespace

std::vector<ManualPage> manual_of(const Command &program) {
  std::vector<ManualPage> pages{{program.get_name(), page_of_program(program)}};
  for (const Command *command : program.parts_shown())
    pages.push_back(
        {fmt::format("{}-{}", program.get_name(), command->get_name()), page_of_command(program, *command)});
  return pages;
}

}  // namespace host
