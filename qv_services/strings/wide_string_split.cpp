// Splitting at delimiters that may be escaped, and the unescaping of pieces.
#include <cstring>
#include <string>
#include <string_view>

#include "qv_services/wide_string.hpp"
#include "tessel/ut.hpp"

namespace {

// The piece with escape+escape and escape+delimiter read as the second
// character, which undoes the escaping that joined the pieces; other escapes
// stay as they are.
template <typename Char>
std::basic_string<Char> unescape(std::basic_string_view<Char> piece, Char delimiter, Char escape) {
  if (escape == Char{}) return std::basic_string<Char>(piece);
  std::basic_string<Char> out;
  out.reserve(piece.size());
  for (std::size_t i = 0; i < piece.size(); ++i) {
    if (piece[i] == escape && i + 1 < piece.size() && (piece[i + 1] == escape || piece[i + 1] == delimiter)) ++i;
    out.push_back(piece[i]);
  }
  return out;
}

// Calls emit(piece) for every piece of text, in order. find(from) gives the
// next delimiter at or after from, or npos. An escape run is counted back no
// further than the start of the current piece.
template <typename Char, typename Find, typename Emit>
void forEachPiece(std::basic_string_view<Char> text, Char escape, Find find, Emit emit) {
  constexpr std::size_t npos = std::basic_string_view<Char>::npos;
  std::size_t pieceStart = 0;
  for (std::size_t at = find(0); at != npos; at = find(at + 1)) {
    if (escape != Char{}) {
      std::size_t run = 0;
      while (at - run > pieceStart && text[at - run - 1] == escape) ++run;
      if (run % 2 == 1) continue;
    }
    emit(text.substr(pieceStart, at - pieceStart));
    pieceStart = at + 1;
  }
  emit(text.substr(pieceStart));
}

}  // namespace

void delimited_string_to_vector(std::vector<std::string>& out, const std::string& text, char delimiter,
                                char escape) {
  out.clear();
  if (text.empty()) return;
  const std::string_view view(text);
  const char* base = text.c_str();
  // The host's multibyte-aware search stops at a NUL, so an embedded NUL is
  // stepped over here and the search goes on behind it.
  const auto find = [&](std::size_t from) -> std::size_t {
    while (from < text.size()) {
      const char* hit = utMultiByteStrChr(base + from, static_cast<unsigned char>(delimiter));
      const std::size_t stop = hit != nullptr ? static_cast<std::size_t>(hit - base) : from + std::strlen(base + from);
      if (hit != nullptr && stop < text.size()) return stop;
      from = stop + 1;
    }
    return std::string_view::npos;
  };
  std::size_t pieces = 0;
  forEachPiece<char>(view, escape, find, [&](std::string_view) { ++pieces; });
  out.reserve(pieces);
  forEachPiece<char>(view, escape, find, [&](std::string_view piece) { out.push_back(unescape(piece, delimiter, escape)); });
}

void delimited_ustring_to_vector(std::vector<std::u16string>& out, const std::u16string& text, char16_t delimiter,
                                 char16_t escape) {
  out.clear();
  if (text.empty()) return;
  const std::u16string_view view(text);
  forEachPiece<char16_t>(
      view, escape, [&](std::size_t from) { return view.find(delimiter, from); },
      [&](std::u16string_view piece) { out.push_back(unescape(piece, delimiter, escape)); });
}
