#include "appsearch/ansi_text.h"

#include "util/text.h"

namespace appsearch {

size_t FindMark(std::string_view text, std::string_view marks, size_t from, UINT code_page) {
  for (size_t i = from; i < text.size(); ++i) {
    if (marks.find(text[i]) != kNotFound) return i;
    if (::IsDBCSLeadByteEx(code_page, static_cast<BYTE>(text[i]))) ++i;
  }
  return kNotFound;
}

size_t FindLastMark(std::string_view text, std::string_view marks, UINT code_page) {
  size_t last = kNotFound;
  for (size_t i = 0; (i = FindMark(text, marks, i, code_page)) != kNotFound; ++i) last = i;
  return last;
}

std::string ToDecimalText(uint32_t value) { return util::ToAnsi(util::ToDecimal(value)); }

}  // namespace appsearch
