#include "host/shell/candidates.hpp"

#include <algorithm>

#include "host/shell/line_words.hpp"

namespace host {

void quote(std::vector<Candidate> &candidates, char open) {
  for (Candidate &candidate : candidates) {
    if (open == '\0' || open == '\\')
      candidate.text = quoted_word(candidate.text);
    else
      candidate.text = open + candidate.text + (candidate.finished ? std::string{open} : "");
  }
}

std::string common_beginning(const std::vector<Candidate> &candidates) {
  if (candidates.empty())
    return {};
  std::string_view common = candidates.front().text;
  for (const Candidate &candidate : candidates)
    common =
        common.substr(0, static_cast<std::size_t>(std::ranges::mismatch(common, candidate.text).in1 - common.begin()));
  return std::string{common};
}

std::string lines_for_shell(const LineCompletion &completion, std::string_view line, std::string_view breaks) {
  const std::string_view typed = line.substr(completion.start);
  const std::size_t known = typed.find_last_of(breaks) + 1;
  std::string text;
  for (const Candidate &candidate : completion.candidates)
    if (candidate.text.starts_with(typed.substr(0, known)))
      text += candidate.text.substr(known) + (candidate.finished ? " \n" : "\n");
  return text;
}

}  // namespace host
