// A line that is a path, and a document behind it: the values found at the path, at those of its
// parts, and at the document itself must be texts that read again as what they are.
#include "Input.h"
#include "Utility/JSon.h"
#include "Utility/JSonValuesHolder.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace sqxer;
  fuzz::Input input(data, size);
  const XeString path = fuzz::Characters(input.Line());
  const XeString document = fuzz::Characters(input.Rest());
  try {
    JSonValuesHolder holder;
    const std::size_t value = holder.AddCollectionPath(JSon::JSonPath(path));
    const std::size_t whole = holder.AddCollectionPath(JSon::JSonPath(L"$"));
    holder.SetDocument(document);
    holder.Observe();
    const JSon::JSonValue& found = holder.Resolve(value);
    const std::string text(found.asXeNString());
    const XeDataType type = found.GetDataType();
    if (type != XeUnknown && holder.ResolveDataType(value) == XeUnknown) std::abort();
    if (type == XeInt4Data && found.asInt32() != found.asDouble()) std::abort();
    if (BaseStringUtil::Utf8ToString(text).size() > document.size()) std::abort();
    if (!holder.Resolve(whole).IsPresent()) std::abort();
    if (type != XeObjectData) return 0;
    // An object or array is a document of its own.
    JSonValuesHolder inner;
    const std::size_t same = inner.AddCollectionPath(JSon::JSonPath(L"$"));
    const XeString part = BaseStringUtil::Utf8ToString(text);
    inner.SetDocument(part);
    if (inner.Resolve(same).GetDataType() != XeObjectData) std::abort();
    if (inner.Resolve(same).asXeNString() != text) std::abort();
  } catch (const ErrorMessage&) {
    // No path, or no document.
  }
  return 0;
}
