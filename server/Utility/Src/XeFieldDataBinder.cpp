#include "Utility/XeFieldDataBinder.h"

#include <algorithm>
#include <cstring>

#include "Utility/XeAssert.h"

namespace sqxer {

/// The conversions, one instantiation for each pair of forms.
struct FieldConversion {
  /// Where the stored characters start and how many they are, without what the target drops.
  template <class Character>
  struct Source {
    const uint8* characters;
    uint32 count;

    wchar_t At(uint32 i) const {
      if constexpr (sizeof(Character) == 1) {
        return characters[i];
      } else {
        wchar_t c;
        std::memcpy(&c, characters + std::size_t{i} * sizeof c, sizeof c);
        return c;
      }
    }
  };

  template <class Character, bool SourceVaries, bool TargetVaries>
  static Source<Character> Measure(const XeFieldConverter& converter, const uint8* source) {
    if constexpr (SourceVaries) {
      Source<Character> text{source + kLongVarPrefix, 0};
      std::memcpy(&text.count, source, sizeof text.count);
      return text;
    } else {
      Source<Character> text{source, 0};
      while (text.count < converter.sourceLength_ && text.At(text.count) != 0) ++text.count;
      if constexpr (TargetVaries) {
        while (text.count > 0 && text.At(text.count - 1) == L' ') --text.count;
      }
      return text;
    }
  }

  template <class Character, bool SourceVaries, bool TargetVaries>
  static void Convert(const XeFieldConverter& converter, const uint8* source, uint8 sourceNull,
                      uint8* target) {
    const Source<Character> text =
        sourceNull ? Source<Character>{source, 0}
                   : Measure<Character, SourceVaries, TargetVaries>(converter, source);
    uint32 length = std::min(text.count, converter.targetLength_);
    auto put = [out = target + (TargetVaries ? kLongVarPrefix : 0)](uint32 i, wchar_t c) {
      std::memcpy(out + std::size_t{i} * sizeof c, &c, sizeof c);
    };
    for (uint32 i = 0; i < length; ++i) put(i, text.At(i));
    if constexpr (TargetVaries) {
      std::memcpy(target, &length, sizeof length);
    } else {
      for (; length < converter.targetLength_; ++length) put(length, L' ');
    }
    put(length, L'\0');
  }

  template <class Character>
  static XeFieldConverter::ConvertFunction Choose(bool sourceVaries, bool targetVaries) {
    if (sourceVaries) {
      return targetVaries ? &Convert<Character, true, true> : &Convert<Character, true, false>;
    }
    return targetVaries ? &Convert<Character, false, true> : &Convert<Character, false, false>;
  }
};

XeFieldConverter::XeFieldConverter(XeDataType sourceType, uint32 sourceLength, bool narrowSource,
                                   XeDataType targetType, uint32 targetLength)
    : sourceLength_(sourceLength), targetLength_(targetLength) {
  XE_ASSERT(SUXeDataTypeUtility::IsXeTextType(sourceType));
  XE_ASSERT(SUXeDataTypeUtility::IsXeTextType(targetType));
  const bool sourceVaries = sourceType != XeCharData;
  const bool targetVaries = targetType != XeCharData;
  convert_ = narrowSource ? FieldConversion::Choose<char>(sourceVaries, targetVaries)
                          : FieldConversion::Choose<wchar_t>(sourceVaries, targetVaries);
}

void XeFieldConverter::Convert(const uint8* source, uint8 sourceNull, uint8* target) const {
  convert_(*this, source, sourceNull, target);
}

}  // namespace sqxer
