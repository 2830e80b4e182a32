#include "Utility/JSonValuesHolder.h"

#include <simdjson.h>

#include <algorithm>
#include <new>
#include <string>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/JsonNumber.h"
#include "Utility/Settings.h"
#include "Utility/XeMemory.h"

namespace sqxer {

namespace {

namespace ondemand = simdjson::ondemand;
using JSon::JSonPath;
using JSon::JSonValue;
using simdjson::error_code;

/// Reading takes stack per level.
constexpr int kMostLevels = 1000;
constexpr int kNone = -1;

/// Where paths part: the steps that lead on, and the handle of the path that ends here.
struct PathNode {
  struct Branch {
    JSonPath::Step step;
    int node;
  };
  std::vector<Branch> branches;
  int handle = kNone;
};

std::string_view Trim(std::string_view text) {
  const std::size_t last = text.find_last_not_of(" \t\n\r");
  return text.substr(0, last + 1);
}

bool IsInt32(int64_t value) { return value == static_cast<int32>(value); }

constexpr uint32 Bit(XeDataType type) { return uint32{1} << type; }

}  // namespace

/// Reads a document in one pass from front to back, every value of it, so that none is taken out of
/// a text that is not JSON all through. The paths are one tree, walked alongside.
class JSonValuesHolder::DocumentReader {
 public:
  DocumentReader() : nodes_(1) {}

  /// The handle of a path; `next` is the one for a new path.
  std::size_t Add(const JSonPath& path, std::size_t next) {
    int node = 0;
    for (const JSonPath::Step& step : path.GetSteps()) node = Follow(node, step);
    int& handle = nodes_[static_cast<std::size_t>(node)].handle;
    if (handle == kNone) handle = static_cast<int>(next);
    return static_cast<std::size_t>(handle);
  }

  /// Puts the values at the paths into `values`, which hold none yet. False when the text is no
  /// JSON document.
  bool Read(std::wstring_view text, std::vector<JSonValue>& values) {
    values_ = &values;
    utf8_.clear();
    BaseStringUtil::AppendUtf8(utf8_, text);
    // A document that is one bare value may not have blanks behind it, says the parser.
    length_ = Trim(utf8_).size();
    utf8_.resize(length_);
    utf8_.append(simdjson::SIMDJSON_PADDING, '\0');
    // The library does not look whether it has got its buffer.
    constexpr std::size_t kRoomPerByte = 8;
    if (utf8_.size() > parser_.capacity()) MemoryGateway::Claim(kRoomPerByte * utf8_.size());
    const error_code error = parser_.iterate(utf8_.data(), length_, utf8_.size()).get(document_);
    if (error == simdjson::MEMALLOC) throw std::bad_alloc();
    if (error != simdjson::SUCCESS) return false;
    return ReadValue(document_, 0, 0) == simdjson::SUCCESS && NextToken() == End();
  }

 private:
  int Follow(int node, const JSonPath::Step& step) {
    const int known = Find(node, step);
    if (known != kNone) return known;
    const int added = static_cast<int>(nodes_.size());
    nodes_.emplace_back();
    nodes_[static_cast<std::size_t>(node)].branches.push_back({step, added});
    return added;
  }

  /// The node behind a member or an element, kNone where no path leads.
  template <class Step>
  int Find(int node, const Step& step) const {
    if (node == kNone) return kNone;
    for (const PathNode::Branch& branch : nodes_[static_cast<std::size_t>(node)].branches) {
      if constexpr (std::is_same_v<Step, JSonPath::Step>) {
        if (branch.step == step) return branch.node;
      } else {
        using Held = std::conditional_t<std::is_integral_v<Step>, uint32, std::string>;
        const Held* held = std::get_if<Held>(&branch.step);
        if (held != nullptr && *held == step) return branch.node;
      }
    }
    return kNone;
  }

  const char* End() const { return utf8_.data() + length_; }
  const char* NextToken() {
    const char* next = nullptr;
    return document_.current_location().get(next) == simdjson::SUCCESS ? next : End();
  }

  void Keep(int node, const JSonValue& value) {
    if (node == kNone) return;
    const int handle = nodes_[static_cast<std::size_t>(node)].handle;
    if (handle == kNone) return;
    JSonValue& kept = (*values_)[static_cast<std::size_t>(handle)];
    if (!kept.IsPresent()) kept = value;
  }

  // `Source` is the document or a value in it: they are read alike.
  template <class Source>
  error_code ReadValue(Source& source, int node, int level) {
    std::string_view token;
    ondemand::json_type type;
    if (const error_code error = RawToken(source, token)) return error;
    if (const error_code error = source.type().get(type)) return error;
    switch (type) {
      case ondemand::json_type::object:
      case ondemand::json_type::array: {
        if (level == kMostLevels) return simdjson::DEPTH_ERROR;
        const bool isObject = type == ondemand::json_type::object;
        const error_code error =
            isObject ? ReadMembers(source, node, level + 1) : ReadElements(source, node, level + 1);
        if (error) return error;
        const auto length = static_cast<std::size_t>(NextToken() - token.data());
        Keep(node, JSonValue(XeObjectData, Trim({token.data(), length})));
        return simdjson::SUCCESS;
      }
      case ondemand::json_type::number:
        return ReadNumber(source, node, Trim(token));
      case ondemand::json_type::string: {
        std::string_view text;
        const error_code error = source.get_string().get(text);
        if (!error) Keep(node, JSonValue(XeVarCharData, text));
        return error;
      }
      case ondemand::json_type::boolean: {
        bool truth = false;
        const error_code error = source.get_bool().get(truth);
        if (!error) Keep(node, JSonValue(XeVarCharData, truth ? "true" : "false"));
        return error;
      }
      case ondemand::json_type::null:
        if (Trim(token) != "null" || !source.is_null()) return simdjson::N_ATOM_ERROR;
        Keep(node, JSonValue::Null());
        return simdjson::SUCCESS;
    }
    return simdjson::TAPE_ERROR;
  }

  static error_code RawToken(ondemand::document& document, std::string_view& token) {
    return document.raw_json_token().get(token);
  }
  static error_code RawToken(ondemand::value& value, std::string_view& token) {
    token = value.raw_json_token();
    return simdjson::SUCCESS;
  }

  template <class Source>
  error_code ReadNumber(Source& source, int node, std::string_view text) {
    int64_t integer = 0;
    float64 number = 0;
    if (source.get_int64().get(integer) == simdjson::SUCCESS) {
      const XeDataType type = IsInt32(integer) ? XeInt4Data : XeDoubleData;
      Keep(node, JSonValue(type, static_cast<float64>(integer), text));
      return simdjson::SUCCESS;
    }
    const error_code error = source.get_double().get(number);
    if (!error) {
      Keep(node, JSonValue(XeDoubleData, number, text));
      return error;
    }
    // Beyond doubles it keeps its digits as a text. Whoever walks the document skips what was not
    // taken; behind a bare value nobody does.
    if (std::is_same_v<Source, ondemand::document> || !JSon::IsNumber(text)) return error;
    Keep(node, JSonValue(XeVarCharData, text));
    return simdjson::SUCCESS;
  }

  template <class Source>
  error_code ReadMembers(Source& source, int node, int level) {
    ondemand::object object;
    if (const error_code error = source.get_object().get(object)) return error;
    for (auto field : object) {
      std::string_view name;
      ondemand::value value;
      if (const error_code error = field.unescaped_key().get(name)) return error;
      if (const error_code error = field.value().get(value)) return error;
      if (const error_code error = ReadValue(value, Find(node, name), level)) return error;
    }
    return simdjson::SUCCESS;
  }

  template <class Source>
  error_code ReadElements(Source& source, int node, int level) {
    ondemand::array array;
    if (const error_code error = source.get_array().get(array)) return error;
    uint32 index = 0;
    for (auto element : array) {
      ondemand::value value;
      if (const error_code error = element.get(value)) return error;
      if (const error_code error = ReadValue(value, Find(node, index), level)) return error;
      ++index;
    }
    return simdjson::SUCCESS;
  }

  std::vector<PathNode> nodes_;
  std::vector<JSonValue>* values_ = nullptr;
  /// The current document; both buffers only grow.
  std::string utf8_;
  std::size_t length_ = 0;
  ondemand::parser parser_;
  ondemand::document document_;
};

JSonValuesHolder::JSonValuesHolder()
    : reader_(std::make_unique<DocumentReader>()),
      raisesErrors_(Settings::Current()->GetSwitches().jsonErrors_ ==
                    SUSystemConfig::JsonErrors::kError) {}

JSonValuesHolder::~JSonValuesHolder() = default;

std::size_t JSonValuesHolder::AddCollectionPath(const JSonPath& path) {
  const std::size_t handle = reader_->Add(path, values_.size());
  if (handle == values_.size()) {
    values_.emplace_back();
    observed_.emplace_back();
    if (!text_.empty()) SetDocument(text_);
  }
  return handle;
}

void JSonValuesHolder::SetDocument(std::wstring_view text) {
  text_ = text;
  state_ = State::kUnread;
}

void JSonValuesHolder::SetNoDocument() {
  text_ = {};
  std::ranges::fill(values_, JSonValue());
  state_ = State::kRead;
}

void JSonValuesHolder::Read() {
  ++documentsRead_;
  std::ranges::fill(values_, JSonValue());
  state_ = reader_->Read(text_, values_) ? State::kRead : State::kMalformed;
  if (state_ == State::kMalformed) std::ranges::fill(values_, JSonValue());
}

void JSonValuesHolder::Prepare() {
  if (state_ == State::kUnread) Read();
  if (state_ == State::kRead || !raisesErrors_) return;
  const std::string text = BaseStringUtil::StringToUtf8(text_);
  SUGThrow(ErrorMessage(59191, {BaseStringUtil::QuotedValue(text)}));
}

void JSonValuesHolder::Observe() {
  if (state_ == State::kUnread) Read();
  for (std::size_t i = 0; i < values_.size(); ++i) {
    const JSonValue& value = values_[i];
    if (value.GetDataType() == XeUnknown) continue;
    Observed& observed = observed_[i];
    observed.types |= Bit(value.GetDataType());
    observed.longestText =
        std::max(observed.longestText, BaseStringUtil::CountCharacters(value.asXeNString()));
  }
}

XeDataType JSonValuesHolder::ResolveDataType(std::size_t handle) const {
  const uint32 types = observed_[handle].types;
  if (types == 0) return XeUnknown;
  for (const XeDataType type : {XeInt4Data, XeObjectData}) {
    if (types == Bit(type)) return type;
  }
  const bool onlyNumbers = (types & ~(Bit(XeInt4Data) | Bit(XeDoubleData))) == 0;
  return onlyNumbers ? XeDoubleData : XeVarCharData;
}

}  // namespace sqxer
