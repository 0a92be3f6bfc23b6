// SPDX-License-Identifier: Apache-2.0
#include <charconv>
#include <cstddef>
#include <string_view>
#include <utility>

#include "signing/Requirement.h"
#include "value/NumberText.h"

namespace vanto {

namespace {

/// How tightly the outermost word of a text binds.
enum class Binding : std::uint8_t { Or, And, Not };

/// A text that stands for a part of the requirement.
struct Piece {
  std::string text;
  Binding binding;
};

std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char byte : text) {
    if (byte == '"' || byte == '\\') result += '\\';
    result += byte;
  }
  return result + '"';
}

/// A real in the only form that texts have for it, with a fraction and without an exponent.
std::string fixed(double number) {
  // The longest are those with 309 digits, and those with 324 zeros and 17 digits behind the point.
  char buffer[400];
  std::string text(buffer, std::to_chars(std::begin(buffer), std::end(buffer), number, std::chars_format::fixed).ptr);
  return text.find('.') == std::string::npos ? text + ".0" : text;
}

struct ExpectedText {
  std::string operator()(EntitlementTest::Granted) const { return ""; }
  std::string operator()(EntitlementTest::Present) const { return " exists"; }
  std::string operator()(const EntitlementTest::Text& text) const { return " = " + quoted(text.value); }
  std::string operator()(std::int64_t number) const { return " = " + std::string(NumberText(number).text()); }
  std::string operator()(double number) const { return " = " + fixed(number); }
  std::string operator()(bool truth) const { return truth ? " = true" : " = false"; }
};

/// The text of `piece` as a part of what binds as `outer`.
std::string inside(Piece piece, Binding outer) {
  return piece.binding < outer ? "(" + piece.text + ")" : std::move(piece.text);
}

void join(std::vector<Piece>& pieces, Binding binding) {
  std::string right = inside(std::move(pieces.back()), binding);
  pieces.pop_back();
  // Appended in place: a chain of many would cost its square otherwise.
  Piece& left = pieces.back();
  left.text = inside(std::move(left), binding);
  left.text += binding == Binding::And ? " and " : " or ";
  left.text += right;
  left.binding = binding;
}

}  // namespace

std::string textOf(const RequirementTerm& term) {
  switch (term.kind) {
    case RequirementTerm::Kind::Valid:
      return "valid";
    case RequirementTerm::Kind::Identifier:
      return "identifier " + quoted(term.text);
    case RequirementTerm::Kind::Signer:
      return "signer " + quoted(term.text);
    case RequirementTerm::Kind::Digest:
      return "digest " + quoted(term.text);
    case RequirementTerm::Kind::Entitlement:
      return "entitlement " + quoted(term.entitlement.key) + std::visit(ExpectedText{}, term.entitlement.expected);
  }
  return {};
}

std::string Requirement::text() const {
  std::vector<Piece> pieces;
  for (const RequirementStep& step : steps_) {
    switch (step.kind) {
      case RequirementStep::Kind::Term:
        pieces.push_back({textOf(terms_[step.term]), Binding::Not});
        break;
      case RequirementStep::Kind::Not:
        pieces.back() = {"not " + inside(std::move(pieces.back()), Binding::Not), Binding::Not};
        break;
      case RequirementStep::Kind::And:
        join(pieces, Binding::And);
        break;
      case RequirementStep::Kind::Or:
        join(pieces, Binding::Or);
        break;
    }
  }
  return std::move(pieces.back().text);
}

}  // namespace vanto
