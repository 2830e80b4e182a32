#include "JsonLineReader.h"

#include <simdjson.h>

#include <new>

#include "Utility/JsonNumber.h"
#include "Utility/XeMemory.h"

namespace sqxer {
namespace {

namespace ondemand = simdjson::ondemand;
using simdjson::error_code;
using Kind = JsonLineReader::Kind;

static_assert(JsonLineReader::kPadding >= simdjson::SIMDJSON_PADDING);

std::string_view TrimEnd(std::string_view text) {
  return text.substr(0, text.find_last_not_of(" \t\n\r") + 1);
}

}  // namespace

struct JsonLineReader::State {
  ondemand::parser parser;
  ondemand::document document;

  /// Where the next token starts; null at the end.
  const char* NextToken() {
    const char* next = nullptr;
    return document.current_location().get(next) == simdjson::SUCCESS ? next : nullptr;
  }

  error_code ReadObject(ondemand::object object, MemberSink& sink) {
    for (auto field : object) {
      std::string_view key;
      ondemand::value value;
      if (const error_code error = field.unescaped_key().get(key)) return error;
      if (const error_code error = field.value().get(value)) return error;
      Kind kind = Kind::kNull;
      std::string_view text;
      if (const error_code error = ReadValue(value, 1, kind, text)) return error;
      sink.Take(key, kind, text);
    }
    return simdjson::SUCCESS;
  }

  error_code ReadValue(ondemand::value& value, int level, Kind& kind, std::string_view& text) {
    text = TrimEnd(value.raw_json_token());
    ondemand::json_type type;
    if (const error_code error = value.type().get(type)) return error;
    switch (type) {
      case ondemand::json_type::object:
      case ondemand::json_type::array: {
        kind = Kind::kNested;
        if (level == kMostLevels) return simdjson::DEPTH_ERROR;
        const error_code error = type == ondemand::json_type::object
                                     ? CheckMembers(value, level + 1)
                                     : CheckElements(value, level + 1);
        if (error) return error;
        const char* const next = NextToken();
        if (next == nullptr) return simdjson::INCOMPLETE_ARRAY_OR_OBJECT;
        text = TrimEnd({text.data(), static_cast<std::size_t>(next - text.data())});
        return simdjson::SUCCESS;
      }
      case ondemand::json_type::number:
        // Whoever walks the object skips what was not taken.
        kind = Kind::kNumber;
        return JSon::IsNumber(text) ? simdjson::SUCCESS : simdjson::NUMBER_ERROR;
      case ondemand::json_type::string:
        kind = Kind::kString;
        return value.get_string().get(text);
      case ondemand::json_type::boolean:
        kind = Kind::kBoolean;
        return text == "true" || text == "false" ? simdjson::SUCCESS : simdjson::T_ATOM_ERROR;
      case ondemand::json_type::null:
        kind = Kind::kNull;
        return text == "null" ? simdjson::SUCCESS : simdjson::N_ATOM_ERROR;
    }
    return simdjson::TAPE_ERROR;
  }

  error_code CheckMembers(ondemand::value& value, int level) {
    ondemand::object object;
    if (const error_code error = value.get_object().get(object)) return error;
    for (auto field : object) {
      std::string_view key;
      ondemand::value member;
      if (const error_code error = field.unescaped_key().get(key)) return error;
      if (const error_code error = field.value().get(member)) return error;
      if (const error_code error = Check(member, level)) return error;
    }
    return simdjson::SUCCESS;
  }

  error_code CheckElements(ondemand::value& value, int level) {
    ondemand::array array;
    if (const error_code error = value.get_array().get(array)) return error;
    for (auto entry : array) {
      ondemand::value element;
      if (const error_code error = entry.get(element)) return error;
      if (const error_code error = Check(element, level)) return error;
    }
    return simdjson::SUCCESS;
  }

  error_code Check(ondemand::value& value, int level) {
    Kind kind;
    std::string_view text;
    return ReadValue(value, level, kind, text);
  }
};

JsonLineReader::JsonLineReader() : state_(std::make_unique<State>()) {}

JsonLineReader::~JsonLineReader() = default;

JsonLineReader::Outcome JsonLineReader::Read(std::string_view text, MemberSink& sink) {
  ondemand::object object;
  // The library does not look whether it has got its buffer.
  constexpr std::size_t kRoomPerByte = 8;
  if (text.size() > state_->parser.capacity())
    MemoryGateway::Claim(kRoomPerByte * (text.size() + kPadding));
  error_code error = state_->parser.iterate(text.data(), text.size(), text.size() + kPadding)
                         .get(state_->document);
  if (error == simdjson::MEMALLOC) throw std::bad_alloc();
  if (!error) error = state_->document.get_object().get(object);
  if (!error) error = state_->ReadObject(object, sink);
  // Reading takes stack per level.
  if (error == simdjson::DEPTH_ERROR) return Outcome::kTooDeep;
  return !error && state_->NextToken() == nullptr ? Outcome::kRead : Outcome::kBroken;
}

}  // namespace sqxer
