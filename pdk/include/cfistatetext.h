// The state of a node as a line of words, escaped like those of the mount table.
#ifndef CFISTATETEXT_H
#define CFISTATETEXT_H

#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "cfimounttable.h"
#include "kfi.h"

namespace qmfi_pdk_4_4 {

// Fills a blob with a text of these words, which may be empty and hold any character but the zero byte. The buffer
// belongs to the framework, which gives it back by qmfi_free_buf(). Throws std::bad_alloc.
inline void putStateText(kfi_blob& blob, const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (&word == &words.front() ? "" : " ") + escapedWord(word);
  blob.kb_length = text.size() + 1;
  blob.kb_buffer = static_cast<char*>(qmfi_alloc_buf(blob.kb_length));
  if (blob.kb_buffer == nullptr) throw std::bad_alloc();
  std::memcpy(blob.kb_buffer, text.c_str(), blob.kb_length);
  blob.kb_encoding = KFI_BLOB_TEXT;
}

// The words of such a text, which ends with the blob or with its first zero byte. They come from outside.
inline std::vector<std::string> stateTextOf(const kfi_blob& blob) {
  std::vector<std::string> words;
  const std::string_view text(blob.kb_buffer, ::strnlen(blob.kb_buffer, blob.kb_length));
  for (const std::string_view word : wordsOf(text)) words.push_back(plainWord(word));
  return words;
}

}  // namespace qmfi_pdk_4_4

#endif
