// A format of dates and a text: what reads is a moment whose own text reads as it again, and that
// TO_CHAR writes in no more characters than it says. Formats of numbers, too.
#include "Input.h"
#include "SQXERMomentFormat.h"
#include "SQXERNumberFormat.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/XeDateTime.h"

namespace {

using namespace sqxer;

void TryDate(const XeString& format, const XeString& text) {
  DateTimeMetaData reader;
  XeDateTime moment;
  const DateTimeMetaData plain;
  if (!plain.TryConvert(text, moment)) plain.Convert(L"2012-02-29 12:34:56.789", moment);
  try {
    reader.SetDateTimeFormat(format);
    if (reader.TryConvert(text, moment)) {
      XeDateTime again;
      plain.Convert(DateTimeText(moment), again);
      if (DateTimeText(again) != DateTimeText(moment)) std::abort();
    }
  } catch (const ErrorMessage&) {
    // No format to read by; it may be one to write by.
  }
  XeString out;
  MomentFormat(format).Write(moment, out);
  if (out.size() > MomentFormat::CountMost(static_cast<uint32>(format.size()))) std::abort();
}

void TryNumber(const XeString& format, const XeString& text) {
  try {
    const NumberFormat numbers(format);
    const uint32 most = NumberFormat::CountMost(static_cast<uint32>(format.size()));
    bool isNumber = false;
    const VelmarNumber number =
        VelmarNumber::stringAsNumber(text.c_str(), static_cast<uint32>(text.size()), &isNumber);
    XeString out;
    numbers.Write(number, out);
    if (out.size() > most) std::abort();
    out.clear();
    numbers.Write(number.asDouble(), out);
    if (out.size() > most) std::abort();
    numbers.Read(text);
  } catch (const ErrorMessage&) {
    // No format, or no number.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  fuzz::Input input(data, size);
  const bool isNumber = input.Byte() % 3 == 0;
  const XeString format = fuzz::Characters(input.Line());
  const XeString text = fuzz::Characters(input.Rest());
  if (isNumber) {
    TryNumber(format, text);
  } else {
    TryDate(format, text);
  }
  return 0;
}
