// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfilePath.h"

#include "value/limits.h"

namespace vanto {
namespace {

std::string remedyForUnknown(const ProfileParameters& parameters) {
  std::string text;
  for (const auto& [name, value] : parameters) text += (text.empty() ? "" : ", ") + name;
  return text.empty() ? "write the path itself, as no parameter is known here" : "write one of " + text;
}

/// What a parameter must not be at its place in a path, or empty.
std::string problemOfValue(const std::string& name, const std::string& value, bool isFirst) {
  if (value.empty())
    return "the parameter " + name + " is empty, so the path would mean another directory; give it a value";
  if (!isFirst && value.find_first_not_of('/') == std::string::npos) {
    return "the parameter " + name + " is " + shownWord(value) +
           ", so the path would mean another directory; give it a value with more than slashes";
  }
  return {};
}

std::string tooLong() {
  return "the path is longer than " + std::to_string(limits::profilePathBytes) +
         " bytes, so it could not be opened; allow a directory that it is in, or make its parameters shorter";
}

/// The word with values in place of parameters; empty after an error, and for the empty word.
std::string expanded(const ProfileWord& word, const ProfileParameters& parameters, ProfileErrors& errors) {
  std::string text;
  for (const ProfileWord::Piece& piece : word.pieces) {
    const std::string* value = &piece.text;
    if (piece.kind == ProfileWord::Piece::Kind::Parameter) {
      const auto found = parameters.find(piece.text);
      std::string problem;
      if (found == parameters.end()) {
        problem = "unknown parameter " + shownWord(piece.text) + "; " + remedyForUnknown(parameters);
      } else {
        problem = problemOfValue(piece.text, found->second, &piece == &word.pieces.front());
      }
      if (!problem.empty()) return errors.add(piece.position, std::move(problem)), std::string();
      value = &found->second;
    }
    if (value->size() > limits::profilePathBytes - text.size())
      return errors.add(word.position, tooLong()), std::string();
    text += *value;
  }
  if (text.empty()) errors.add(word.position, "an empty path; write an absolute path");
  return text;
}

/// Appends the components of `text` to `path`; gives what is wrong with one of them, or empty.
std::string clean(std::string_view text, std::string& path) {
  while (!text.empty()) {
    const std::string_view component = text.substr(0, text.find('/'));
    text.remove_prefix(std::min(component.size() + 1, text.size()));
    if (component.empty()) continue;
    if (component == "." || component == "..") {
      return "the path has the component \"" + std::string(component) + "\"; write the path without it";
    }
    path.append("/").append(component);
  }
  return {};
}

std::string problemOf(const ProfileWord& word, std::string_view text, std::string& path) {
  if (text.front() != '/') return "the path " + shownWord(text) + " is relative; write an absolute path";
  if (text.find('\0') != std::string_view::npos) return "the path contains NUL, as no path does; write it without";
  if (std::string problem = clean(text, path); !problem.empty()) return problem;
  if (!path.empty()) return {};
  if (word.hasParameters()) return "with its parameters the path is the root directory; write / where that is meant";
  path = "/";
  return {};
}

}  // namespace

std::string pathOf(const ProfileWord& word, const ProfileParameters& parameters, ProfileErrors& errors) {
  const std::string text = expanded(word, parameters, errors);
  if (text.empty()) return {};
  std::string path;
  std::string problem = problemOf(word, text, path);
  if (problem.empty()) return path;
  errors.add(word.position, std::move(problem));
  return {};
}

}  // namespace vanto
