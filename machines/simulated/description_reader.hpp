#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "machines/simulated/chip.hpp"
#include "machines/simulated/description.hpp"
#include "toml/reader.hpp"

namespace simulated {

/// A whole decimal or, after 0x, hexadecimal number.
[[nodiscard]] std::optional<macro_word> number_in(std::string_view text);

/// Takes a description's text apart.  Every complaint is a MachineError.
class DescriptionReader final : toml_file::Reader {
 public:
  DescriptionReader(const std::string &origin, Description &into, unsigned depth)
      : Reader{origin}, into_{into}, depth_{depth} {}

  void read(std::string_view source);

 private:
  using Kind = scdb::ChipKindInfo;

  [[nodiscard]] std::exception_ptr error(const std::string &message) const override;

  [[nodiscard]] macro_word word(const toml::node &node, std::string_view what) const {
    return static_cast<macro_word>(integer(node, what, 0, MACRO_ALL));
  }
  [[nodiscard]] const toml::table &table(const toml::node &node, std::string_view what) const {
    if (!node.is_table())
      fail(node, fmt::format("{} must be a table", what));
    return *node.as_table();
  }
  /// Calls `use` with each table of a [[list]].
  template <class Use>
  void each_table(const toml::node &node, std::string_view what, Use &&use) const {
    if (!node.is_array())
      fail(node, fmt::format("{0} must be a list of tables: write [[{0}]]", what));
    for (const toml::node &element : *node.as_array())
      use(table(element, what));
  }

  void read_base(const toml::node &node);
  void read_boards(const toml::node &node);
  void read_chips(const toml::table &table, Description::PerKind &chips) const;
  void read_board(const toml::table &table);
  void read_kind(const Kind &kind, const toml::table &table);
  void read_rings(const Kind &kind, const toml::table &table);
  void read_setting(const Selector &chips, std::string_view name, const toml::node &node);
  void read_chip(const toml::table &table);
  void read_fault(const toml::table &table);
  [[nodiscard]] Selector selector(const toml::node &node) const;
  void read_bits(const toml::table &table, bool needs_bits, FaultLine &line) const;
  void read_occasions(const toml::table &table, ChipFault &fault) const;
  void read_place(const toml::node &node, FaultLine &line) const;
  void read_positions(const toml::node &node, FaultLine &line) const;
  void read_word_bits(const toml::node &node, const toml::node *word, FaultLine &line) const;

  Description &into_;
  unsigned depth_;
};

}  // namespace simulated
