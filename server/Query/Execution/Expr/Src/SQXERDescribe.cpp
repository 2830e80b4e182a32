// The names of nodes and the text of a tree, for EXPLAIN and for tests.

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <memory>
#include <new>
#include <typeinfo>

#include "SQXERBatchFewValues.h"
#include "SQXERExprCast.h"
#include "SQXERExprConstant.h"
#include "SQXERExprExtract.h"
#include "SQXERExprIn.h"
#include "SQXERExprParam.h"
#include "SQXERExpression.h"
#include "SQXERNodeTimes.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "Utility/XeInterval.h"

namespace sqxer {

namespace {

XeString QuotedText(std::wstring_view text) {
  XeString quoted = L"'";
  for (const wchar_t c : text) quoted.append(c == L'\'' ? 2 : 1, c);
  return quoted + L"'";
}

template <class Value>
Value Evaluate(RExpression& constant) {
  Value value{};
  constant.Eval(&value);
  return value;
}

XeString ConstantText(RExpression& constant) {
  if (dynamic_cast<const ConstantNull*>(&constant) != nullptr ||
      dynamic_cast<const ConstantTypedNull*>(&constant) != nullptr) {
    return L"NULL";
  }
  switch (constant.GetResultDataType()) {
    case XeBitData:
      return std::to_wstring(Evaluate<uint8>(constant));
    case XeBoolean:
      return Evaluate<uint8>(constant) != 0 ? L"true" : L"false";
    case XeInt4Data:
      return std::to_wstring(Evaluate<int32>(constant));
    case XeUInt4Data:
      return std::to_wstring(Evaluate<uint32>(constant));
    case XeDoubleData:
      return BaseStringUtil::NumberToString(Evaluate<float64>(constant));
    case XeNumericData:
      return Evaluate<VelmarNumber>(constant).asString();
    case XeCharData:
      return QuotedText(Evaluate<wchar_t*>(constant));
    case XeLongVarCharData: {
      const auto text = Evaluate<RefLongVarChar>(constant);
      return QuotedText({text.buffer_, text.length_});
    }
    case XeDateData:
      return DateText(Evaluate<XeDate>(constant));
    case XeTimeData:
      return TimeText(Evaluate<XeTime>(constant));
    case XeDateTimeData:
      return DateTimeText(Evaluate<XeDateTime>(constant));
    case XeIntervalData:
      return IntervalText(Evaluate<XeInterval>(constant));
    default:
      return {};
  }
}

XeString ColumnText(const Extract& column) {
  const XeString& name = column.GetFieldDescriptor() ? column.GetFieldDescriptor()->GetFieldName()
                                                     : column.GetFieldName();
  return name.empty() ? L"#" + std::to_wstring(column.GetFieldIndex()) : name;
}

/// What a node holds beside its operands; empty for most.
XeString Content(RExpression& node) {
  if (const auto* column = dynamic_cast<Extract*>(&node)) return ColumnText(*column);
  if (dynamic_cast<Constant*>(&node) != nullptr) return ConstantText(node);
  if (const auto* parameter = dynamic_cast<Param*>(&node)) {
    return L"$" + std::to_wstring(parameter->GetParamIndex() + 1);
  }
  if (const auto* list = dynamic_cast<In*>(&node)) return list->IsNegated() ? L"NOT" : L"";
  if (const auto* cast = dynamic_cast<Cast*>(&node); cast && !cast->GetDateTimeFormat().empty()) {
    return QuotedText(cast->GetDateTimeFormat());
  }
  return {};
}

/// What a node has taken, and its share of what all have.
XeString TimeText(const RExpression& node, const NodeTimes& times) {
  const std::chrono::nanoseconds* const time = times.Find(node);
  if (time == nullptr) return {};
  wchar_t text[48];
  std::swprintf(text, std::size(text), L" [%.3f ms, %.0f %%]",
                std::chrono::duration<double, std::milli>(*time).count(),
                100.0 * static_cast<double>(time->count()) /
                    static_cast<double>(std::max<int64>(times.GetWhole().count(), 1)));
  return text;
}

void Describe(RExpression& node, std::size_t depth, BatchMarks marks, const NodeTimes* times,
              XeString& out) {
  out.append(2 * depth, L' ').append(NodeName(node));
  if (const XeString content = Content(node); !content.empty()) out += L" " + content;
  out += L" -> " + SUXeDataTypeUtility::GetXeDataTypeName(node.GetResultDataType());
  if (marks == BatchMarks::kByRows && !node.HasBatchLoop() && !IsSameInEveryRow(node)) {
    out += L" (by rows)";
    marks = BatchMarks::kNone;
  }
  if (times != nullptr) out += TimeText(node, *times);
  out += L"\n";
  for (int i = 0; i < node.CountOperands(); ++i) {
    if (RExpression* operand = node.GetIthOperand(i))
      Describe(*operand, depth + 1, marks, times, out);
  }
}

}  // namespace

XeString NodeName(const RExpression& node) {
  constexpr int kNoMemory = -1;
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> demangled(
      abi::__cxa_demangle(typeid(node).name(), nullptr, nullptr, &status), &std::free);
  if (status == kNoMemory) throw std::bad_alloc();
  std::string name = status == 0 ? demangled.get() : typeid(node).name();
  constexpr std::string_view kOwnNamespace = "sqxer::";
  for (auto at = name.find(kOwnNamespace); at != std::string::npos; at = name.find(kOwnNamespace)) {
    name.erase(at, kOwnNamespace.size());
  }
  return XeString(name.begin(), name.end());
}

XeString DescribeTree(RExpression& root, BatchMarks marks) {
  return DescribeTree(root, marks, nullptr);
}

XeString DescribeTree(RExpression& root, BatchMarks marks, const NodeTimes* times) {
  XeString out;
  Describe(root, 0, marks, times, out);
  return out;
}

}  // namespace sqxer
