#include "SetValues.h"

#include <algorithm>

#include "WordReader.h"

namespace sqxer {

void MaskSetValues(std::string& sql) {
  const std::string text = sql;
  WordReader words(text);
  bool isStart = true;
  bool isSet = false;
  bool isValue = false;
  for (WordReader::Word word = words.Next(); !word.text.empty(); word = words.Next()) {
    if (word.Is(";")) {
      isStart = true;
      isSet = isValue = false;
      continue;
    }
    if (word.Is("'") || word.Is("\"")) {
      words.SkipTo(word.text.front());
    } else if (isValue) {
      std::fill(sql.begin() + static_cast<std::ptrdiff_t>(word.start),
                sql.begin() + static_cast<std::ptrdiff_t>(word.end), 'x');
    }
    isSet = isSet || (isStart && word.Is("set"));
    isValue = isValue || (isSet && (word.Is("=") || word.Is("to")));
    isStart = false;
  }
}

}  // namespace sqxer
