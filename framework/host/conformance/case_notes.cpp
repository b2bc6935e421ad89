// Texts in a shared page.
#include "conformance/case_notes.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <new>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// A text that the other process may have spoilt.
template <std::size_t Size>
std::string textIn(const std::array<char, Size>& room) {
  return std::string(room.data(), strnlen(room.data(), Size));
}

template <std::size_t Size>
void store(std::array<char, Size>& room, std::string_view text) {
  const std::size_t length = std::min(text.size(), Size - 1);
  std::copy_n(text.data(), length, room.data());
  room[length] = '\0';
}

}  // namespace

struct CaseNotes::Page {
  std::atomic<bool> ended;
  std::atomic<std::size_t> length;  // of what is found, the NUL behind each text included
  std::array<char, 512> call;
  std::array<char, 512> notTried;
  std::array<char, 32768> found;
};

CaseNotes::CaseNotes() {
  void* const page = mmap(nullptr, sizeof(Page), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) throw systemError(translate("there is no memory to note results in"));
  m_page = new (page) Page{};
}

CaseNotes::~CaseNotes() {
  munmap(m_page, sizeof(Page));
}

void CaseNotes::calling(std::string_view what) noexcept {
  store(m_page->call, what);
}

void CaseNotes::found(std::string_view finding) noexcept {
  const std::size_t length = m_page->length;
  if (length + finding.size() + 1 > m_page->found.size()) return;
  std::copy(finding.begin(), finding.end(), m_page->found.data() + length);
  m_page->found[length + finding.size()] = '\0';
  m_page->length = length + finding.size() + 1;
}

void CaseNotes::notTried(std::string_view why) noexcept {
  store(m_page->notTried, why);
}

void CaseNotes::end() noexcept {
  m_page->ended = true;
}

std::string CaseNotes::lastCall() const {
  return textIn(m_page->call);
}

std::string CaseNotes::reasonNotTried() const {
  return textIn(m_page->notTried);
}

bool CaseNotes::hasEnded() const {
  return m_page->ended;
}

std::vector<std::string> CaseNotes::findings() const {
  std::vector<std::string> texts;
  const char* text = m_page->found.data();
  const char* const end = text + std::min(m_page->length.load(), m_page->found.size());
  while (text < end) {
    texts.emplace_back(text, strnlen(text, static_cast<std::size_t>(end - text)));
    text += texts.back().size() + 1;
  }
  return texts;
}

}  // namespace qmfi_host
