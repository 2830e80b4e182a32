#pragma once

#include <vector>

#include "SQXERExprExtract.h"
#include "Utility/JSon.h"
#include "Utility/JSonValuesHolder.h"

namespace sqxer {

/// A value in the JSON document that the current row holds, found by a path. It reads the document
/// through a holder that all readers of the same documents share, not through the record. NULL when
/// the document has no such value, or the value is null.
///
/// Bind takes the type that the holder has observed: int4, double, or varchar for texts, mixed
/// values, objects and arrays (as they are written) and for a path without a value. It hands the
/// node back as its own replacement when it is the root.
///
/// Errors: 59190 (path, position) from the constructor; 59191 (document) and 59192 (value, type)
/// from Eval, as the holder raises them.
class SQXEREXPR_API ExtractJson final : public Extract {
 public:
  /// `fieldIndex`: the position of the column of documents. `valueHolder` must not be empty.
  ExtractJson(int fieldIndex, XeString path, XeDataType resultType,
              JSonValuesHolderRef valueHolder);

  /// Looks nothing up in the stream. The length of a value is reported as 255, whatever its own.
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  /// The text of a value stands in the node and holds until the next Eval.
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kJsonValueExpressoin; }

  bool ReadsRecord() const override { return false; }
  const XeString& GetPath() const { return m_path; }

 private:
  static void ReadInt32(ExtractJson& node, void* out);
  static void ReadFloat64(ExtractJson& node, void* out);
  static void ReadText(ExtractJson& node, void* out);
  [[noreturn]] static void ReadOther(ExtractJson& node, void* out);

  XeString m_path;
  const JSon::JSonValue* m_valuePtr = nullptr;
  JSonValuesHolderRef m_valueHolder;
  JSon::JSonPath m_jsonPath;
  /// The characters of the current text; the memory only grows.
  std::vector<uint8> m_currValue;
  std::size_t m_pathHandle = 0;
  /// What writes a value of the bound type.
  void (*read_)(ExtractJson& node, void* out) = &ReadOther;
};

}  // namespace sqxer
