#include "LineEditor.h"

#include <histedit.h>
#include <langinfo.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <cwchar>
#include <new>
#include <utility>

#include "Interruption.h"
#include "OutputStream.h"
#include "Terminal.h"

// Of a build that looks for leaks; null in others.
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();

namespace sqxer {
namespace {

/// SQL is UTF-8 wherever it comes from, and the editor has to know how wide its characters are.
void UseUtf8() {
  setlocale(LC_CTYPE, "");
  if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) setlocale(LC_CTYPE, "C.UTF-8");
}

std::size_t CountCharacters(std::string_view text) {
  std::size_t count = 0;
  for (const char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return count;
}

/// Whether more is there to be read without waiting, as when text is pasted.
bool IsMoreThere() {
  pollfd input{STDIN_FILENO, POLLIN, 0};
  return poll(&input, 1, 0) > 0 && (input.revents & POLLIN) != 0;
}

}  // namespace

struct LineEditor::Impl {
  Impl(HistoryFile file, Complete completeWord)
      : historyFile(std::move(file)), complete(std::move(completeWord)) {}

  static Impl& Of(EditLine* editor) {
    void* data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    return *static_cast<Impl*>(data);
  }
  static char* GetPrompt(EditLine* editor) { return Of(editor).prompt.data(); }

  /// Waits for the next character, and for signals meanwhile.
  static int ReadCharacter(EditLine* editor, wchar_t* out) {
    std::mbstate_t state = {};
    for (;;) {
      pollfd waiting[] = {{STDIN_FILENO, POLLIN, 0},
                          {Interruption::GetWakeDescriptor(), POLLIN, 0}};
      if (poll(waiting, 2, -1) < 0 && errno != EINTR) return -1;
      // What was typed behind Ctrl-C may have come with it, and is of the next line.
      if (Interruption::GetSignal() != 0) {
        Interruption::Drain();
        return -1;
      }
      if ((waiting[1].revents & POLLIN) != 0) {
        Interruption::Drain();
        // A new size, or the terminal is this process's again.
        el_resize(editor);
        el_set(editor, EL_PREP_TERM, 1);
        el_set(editor, EL_REFRESH);
        continue;
      }
      if (waiting[0].revents == 0) continue;
      char byte = 0;
      const ssize_t count = read(STDIN_FILENO, &byte, 1);
      if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      if (count <= 0) return 0;
      const std::size_t result = std::mbrtowc(out, &byte, 1, &state);
      // A byte of no character is left out.
      if (result == static_cast<std::size_t>(-1)) state = {};
      // Ctrl-D that was typed while a statement ran has become a zero.
      if (result == 0) *out = L'\x04';
      if (result <= 1) return 1;
    }
  }

  static unsigned char CompleteAtCursor(EditLine* editor, int /*character*/) {
    // Nothing may pass through the library, which is C.
    try {
      return Of(editor).CompleteWord();
    } catch (const std::exception&) {
      return CC_ERROR;
    }
  }

  unsigned char CompleteWord() {
    // A tab within pasted text is what it is.
    if (IsMoreThere()) return el_insertstr(editor, "\t") == 0 ? CC_REFRESH : CC_ERROR;
    const LineInfo* const line = el_line(editor);
    const std::string before(line->buffer, line->cursor);
    const std::string after(line->cursor, line->lastchar);
    const Completion found = complete(before, after);
    if (found.candidates.empty()) return CC_ERROR;
    const std::string typed = before.substr(before.size() - found.replaced);
    std::string text = CommonStart(found);
    const bool isOne = found.candidates.size() == 1;
    if (isOne && !text.ends_with('/')) text += found.suffix;
    if (text.size() > typed.size() || (isOne && text != typed)) {
      el_deletestr(editor, static_cast<int>(CountCharacters(typed)));
      return el_insertstr(editor, text.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
    }
    if (isOne) return CC_ERROR;
    WriteOut("\n");
    WriteOut(ArrangeCandidates(found.candidates, GetTerminalSize().columns));
    return CC_REDISPLAY;
  }

  const HistoryFile historyFile;
  const Complete complete;
  EditLine* editor = nullptr;
  History* history = nullptr;
  std::string prompt;
  std::string last;
};

LineEditor::LineEditor(HistoryFile history, Complete complete)
    : impl_(std::make_unique<Impl>(std::move(history), std::move(complete))) {
  UseUtf8();
  impl_->history = history_init();
  EditLine* const editor = impl_->editor = el_init("sqxer", stdin, stdout, stderr);
  if (editor == nullptr || impl_->history == nullptr) throw std::bad_alloc();
  HistEvent event;
  ::history(impl_->history, &event, H_SETSIZE, static_cast<int>(HistoryFile::kMostEntries));
  for (const std::string& entry : impl_->historyFile.Read()) {
    ::history(impl_->history, &event, H_ENTER, entry.c_str());
    impl_->last = entry;
  }
  el_set(editor, EL_CLIENTDATA, static_cast<void*>(impl_.get()));
  el_set(editor, EL_PROMPT, &Impl::GetPrompt);
  el_set(editor, EL_EDITOR, "emacs");
  el_set(editor, EL_HIST, &::history, impl_->history);
  el_set(editor, EL_GETCFN, &Impl::ReadCharacter);
  // The library never frees its copies of these two texts.
  if (__lsan_disable != nullptr) __lsan_disable();
  el_set(editor, EL_ADDFN, "sqxer-complete", "Completes the word", &Impl::CompleteAtCursor);
  if (__lsan_enable != nullptr) __lsan_enable();
  el_set(editor, EL_BIND, "^I", "sqxer-complete", nullptr);
  // Ctrl with the arrows, as terminals send it.
  el_set(editor, EL_BIND, "\\e[1;5C", "em-next-word", nullptr);
  el_set(editor, EL_BIND, "\\e[1;5D", "ed-prev-word", nullptr);
  el_source(editor, nullptr);
}

LineEditor::~LineEditor() {
  el_end(impl_->editor);
  history_end(impl_->history);
}

LineEditor::Outcome LineEditor::Read(const std::string& prompt, std::string& line) {
  impl_->prompt = prompt;
  int length = 0;
  // Before the prompt is shown, at which a key may be pressed at once.
  el_set(impl_->editor, EL_PREP_TERM, 1);
  const char* const text = el_gets(impl_->editor, &length);
  if (text != nullptr && length > 0) {
    line.assign(text, static_cast<std::size_t>(length));
    if (line.ends_with('\n')) line.pop_back();
    return Outcome::kLine;
  }
  return Interruption::GetSignal() == SIGINT ? Outcome::kInterrupted : Outcome::kEnd;
}

void LineEditor::Remember(const std::string& entry) {
  if (entry.empty() || entry == impl_->last) return;
  impl_->last = entry;
  HistEvent event;
  history(impl_->history, &event, H_ENTER, entry.c_str());
  impl_->historyFile.Append(entry);
}

}  // namespace sqxer
