// SPDX-License-Identifier: Apache-2.0

// One pass over the tokens, with a stack of what waits for its right side. The parser is in one of two states: it waits
// for a condition (at the start and behind "and", "or", "not" and "(") or for what may follow one. Where a condition is
// complete, what waits for it and binds at least as tightly as what comes next leaves the stack and becomes a step.
#include "signing/RequirementParser.h"

#include <charconv>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "signing/DigestText.h"
#include "signing/RequirementScanner.h"
#include "value/Utf8.h"
#include "value/WorkStack.h"
#include "value/limits.h"

namespace vanto {

namespace {

using Token = RequirementToken;
using Step = RequirementStep;
using Term = RequirementTerm;

/// What waits, in the order of how tightly it binds.
enum class Waiting : std::uint8_t { Open, Or, And, Not };

struct Waiter {
  Waiting kind;
  std::size_t offset;
};

/// The offset of the first byte that is not part of a character.
std::size_t firstInvalidByte(std::string_view text) noexcept {
  std::size_t at = 0;
  while (at != text.size()) {
    std::size_t length = 1;
    while (length <= 4 && !isValidUtf8(text.substr(at, length))) ++length;
    if (length > 4) break;
    at += length;
  }
  return at;
}

/// The whole of `text` as a number of a type; none when it is outside of what that can hold.
template <typename Number>
std::optional<Number> numberIn(std::string_view text) noexcept {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

class Parser {
 public:
  explicit Parser(std::string_view source) noexcept : source_(source), scanner_(source) {}

  /// Null with an error.
  [[nodiscard]] std::shared_ptr<const Requirement> parse();
  [[nodiscard]] const RequirementError& error() const noexcept { return *error_; }

 private:
  using Kind = Token::Kind;

  void advance() { token_ = scanner_.next(); }
  [[nodiscard]] bool checkSource();
  [[nodiscard]] bool takeOperand();
  [[nodiscard]] bool takeOperator();
  [[nodiscard]] bool takeTerm();
  [[nodiscard]] bool takeEntitlement(Term& term);
  [[nodiscard]] bool takeExpected(EntitlementTest& test);
  [[nodiscard]] bool takeNumber(EntitlementTest& test);
  [[nodiscard]] bool takeText(std::string& text, const char* problem, const char* remedy);
  [[nodiscard]] bool checkText(const Term& term, const Token& token);
  [[nodiscard]] bool nest(Waiting kind);
  void waitFor(Waiting kind);
  [[nodiscard]] bool close();
  [[nodiscard]] bool finish();
  void settle(Waiting loosest);
  bool fail(std::size_t offset, std::string problem, std::string remedy);
  /// The same for a token that cannot stand where it does; a mistake of the scanner has its own words.
  bool failAtToken(std::string problem, std::string remedy);

  const std::string_view source_;
  RequirementScanner scanner_;
  Token token_;
  /// Whether the next token has to begin a condition.
  bool expectsOperand_ = true;
  bool isFinished_ = false;
  WorkStack<Waiter, 32> waiting_;
  /// Of what waits, the parentheses and "not".
  std::size_t nesting_ = 0;
  std::vector<Step> steps_;
  std::vector<Term> terms_;
  std::optional<RequirementError> error_;
};

std::shared_ptr<const Requirement> Parser::parse() {
  if (!checkSource()) return nullptr;
  advance();
  while (!isFinished_) {
    if (!(expectsOperand_ ? takeOperand() : takeOperator())) return nullptr;
  }
  return std::make_shared<const Requirement>(std::move(steps_), std::move(terms_));
}

bool Parser::checkSource() {
  if (source_.size() > limits::requirementBytes) {
    return fail(limits::requirementBytes,
                "the text is longer than " + std::to_string(limits::requirementBytes) + " bytes",
                "make it shorter, or make several requirements of it");
  }
  if (isValidUtf8(source_)) return true;
  return fail(firstInvalidByte(source_), "the text is not UTF-8", "write it in UTF-8");
}

bool Parser::takeOperand() {
  switch (token_.kind) {
    case Kind::Not:
      return nest(Waiting::Not);
    case Kind::Open:
      return nest(Waiting::Open);
    case Kind::Identifier:
    case Kind::Signer:
    case Kind::Digest:
    case Kind::Entitlement:
    case Kind::Valid:
      return takeTerm();
    case Kind::End:
      return failAtToken("the text ends where a condition is expected",
                         "write one, such as valid or identifier \"org.example.client\"");
    case Kind::String:
      return failAtToken("a text stands alone", "write identifier, signer, digest or entitlement before it");
    default:
      return failAtToken("a condition is expected here",
                         "write one, such as valid or identifier \"org.example.client\"");
  }
}

bool Parser::takeOperator() {
  switch (token_.kind) {
    case Kind::And:
      waitFor(Waiting::And);
      return true;
    case Kind::Or:
      waitFor(Waiting::Or);
      return true;
    case Kind::Close:
      return close();
    case Kind::End:
      return finish();
    case Kind::Equals:
    case Kind::Exists:
      return failAtToken("only the key of an entitlement can be compared",
                         "join conditions with and or or, or write entitlement before the key");
    default:
      return failAtToken("the condition before this place is complete", "join the two with and or or");
  }
}

/// Takes the token as the beginning of a deeper level.
bool Parser::nest(Waiting kind) {
  if (nesting_ == limits::requirementNesting) {
    return failAtToken(
        "more than " + std::to_string(limits::requirementNesting) + " parentheses and nots are inside one another",
        "write the requirement with fewer");
  }
  ++nesting_;
  waiting_.push({kind, token_.offset});
  advance();
  return true;
}

/// Takes the token as a word that joins what was before with what comes.
void Parser::waitFor(Waiting kind) {
  settle(kind);
  waiting_.push({kind, token_.offset});
  expectsOperand_ = true;
  advance();
}

bool Parser::close() {
  settle(Waiting::Or);
  if (waiting_.isEmpty()) {
    return failAtToken("this parenthesis was never opened", "remove it, or open one before it");
  }
  waiting_.shrink(waiting_.size() - 1);
  --nesting_;
  advance();
  return true;
}

bool Parser::finish() {
  settle(Waiting::Or);
  if (!waiting_.isEmpty()) return fail(waiting_.top().offset, "this parenthesis is never closed", "add )");
  isFinished_ = true;
  return true;
}

/// Makes steps of what waits on this level and binds at least as tightly as `loosest`.
void Parser::settle(Waiting loosest) {
  while (!waiting_.isEmpty() && waiting_.top().kind >= loosest) {
    const Waiting kind = waiting_.top().kind;
    waiting_.shrink(waiting_.size() - 1);
    if (kind == Waiting::Not) --nesting_;
    steps_.push_back({kind == Waiting::Not   ? Step::Kind::Not
                      : kind == Waiting::And ? Step::Kind::And
                                             : Step::Kind::Or,
                      0});
  }
}

bool Parser::takeTerm() {
  const Token word = token_;
  Term term;
  advance();
  if (word.kind == Kind::Entitlement) {
    if (!takeEntitlement(term)) return false;
  } else if (word.kind != Kind::Valid) {
    term.kind = word.kind == Kind::Identifier ? Term::Kind::Identifier
                : word.kind == Kind::Signer   ? Term::Kind::Signer
                                              : Term::Kind::Digest;
    const Token text = token_;
    if (!takeText(term.text, "a text in double quotes is expected here", "write it, such as \"org.example.client\"") ||
        !checkText(term, text)) {
      return false;
    }
    // Digests have one form; a name is taken as it is.
    if (word.kind != Kind::Identifier && isDigestText(term.text)) term.text = canonicalDigestText(term.text);
  }
  steps_.push_back({Step::Kind::Term, static_cast<std::uint32_t>(terms_.size())});
  terms_.push_back(std::move(term));
  expectsOperand_ = false;
  return true;
}

bool Parser::checkText(const Term& term, const Token& token) {
  if (term.kind != Term::Kind::Digest || isDigestText(term.text)) return true;
  return fail(token.offset, "a digest has 64 hexadecimal digits", "write the SHA-256 of the executable");
}

bool Parser::takeEntitlement(Term& term) {
  term.kind = Term::Kind::Entitlement;
  EntitlementTest& test = term.entitlement;
  if (!takeText(test.key, "the key of an entitlement is expected here", "write it in double quotes")) return false;
  if (token_.kind == Kind::Exists) {
    test.expected = EntitlementTest::Present{};
    advance();
  } else if (token_.kind == Kind::Equals) {
    advance();
    return takeExpected(test);
  }
  return true;
}

bool Parser::takeExpected(EntitlementTest& test) {
  switch (token_.kind) {
    case Kind::True:
    case Kind::False:
      test.expected = token_.kind == Kind::True;
      break;
    case Kind::String:
      test.expected = EntitlementTest::Text{std::move(token_.text)};
      break;
    case Kind::Number:
      if (!takeNumber(test)) return false;
      break;
    default:
      return failAtToken("a value is expected behind =", "write a \"text\", a number, true or false");
  }
  advance();
  return true;
}

bool Parser::takeNumber(EntitlementTest& test) {
  if (token_.text.find('.') != std::string::npos) {
    const std::optional<double> real = numberIn<double>(token_.text);
    if (!real) return failAtToken("this number is too large or too small", "write one that 64-bit reals can hold");
    test.expected = *real;
  } else {
    const std::optional<std::int64_t> integer = numberIn<std::int64_t>(token_.text);
    if (!integer) return failAtToken("this number is too large", "write one that 64 bits with a sign can hold");
    test.expected = *integer;
  }
  return true;
}

/// Takes a string token that is not empty.
bool Parser::takeText(std::string& text, const char* problem, const char* remedy) {
  if (token_.kind != Kind::String) return failAtToken(problem, remedy);
  if (token_.text.empty()) return failAtToken("an empty text names nothing", remedy);
  text = std::move(token_.text);
  advance();
  return true;
}

bool Parser::fail(std::size_t offset, std::string problem, std::string remedy) {
  error_ = RequirementError::at(source_, offset, std::move(problem), std::move(remedy));
  return false;
}

bool Parser::failAtToken(std::string problem, std::string remedy) {
  if (token_.kind != Kind::Mistake) return fail(token_.offset, std::move(problem), std::move(remedy));
  error_ = scanner_.error();
  return false;
}

}  // namespace

std::shared_ptr<const Requirement> compileRequirement(std::string_view text, RequirementError* error) {
  Parser parser(text);
  std::shared_ptr<const Requirement> requirement = parser.parse();
  if (!requirement && error != nullptr) *error = parser.error();
  return requirement;
}

}  // namespace vanto
