// SPDX-License-Identifier: Apache-2.0
// The line editor, over libedit.
#include "input/editor.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <histedit.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "input/history.h"
#include "input/line_source.h"
#include "lines/reference.h"
#include "lines/short_form.h"
#include "output/printable.h"

namespace tqgateway {
namespace {

constexpr int kHistoryLines = 1000;
constexpr std::size_t kColumns = 80; // that completions are listed in

struct FileClose {
    void operator()(FILE *file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, FileClose>;

struct EditLineEnd {
    void operator()(EditLine *editor) const { el_end(editor); }
};
struct HistoryEnd {
    void operator()(History *history) const { history_end(history); }
};

File OpenTerminal(int fd, const char *mode) {
    const char *name = ttyname(fd);
    File file(name == nullptr ? nullptr : fopen(name, mode));
    if (!file) {
        throw std::system_error(errno, std::generic_category(), "the terminal");
    }
    return file;
}

/// The longest beginning that all words have.
std::string CommonBeginning(const std::vector<std::string> &words) {
    std::string common = words.front();
    for (const std::string &word : words) {
        const auto end = std::mismatch(common.begin(), common.end(), word.begin(), word.end()).first;
        common.erase(end, common.end());
    }
    return common;
}

class Editor {
public:
    Editor(int fd, int stop_fd, Gateway &gateway, LineQueue &shown)
        : fd_(fd), stop_fd_(stop_fd), gateway_(gateway), shown_(shown), in_(OpenTerminal(fd, "r")),
          out_(OpenTerminal(fd, "w")), history_(history_init()),
          editor_(el_init("tq_gateway", in_.get(), out_.get(), out_.get())) {
        if (!history_ || !editor_) {
            throw std::runtime_error("the line editor could not be started");
        }
        HistEvent event;
        history(history_.get(), &event, H_SETSIZE, kHistoryLines);
        history(history_.get(), &event, H_SETUNIQUE, 1);
        for (const std::string &line : file_.Read()) {
            history(history_.get(), &event, H_ENTER, line.c_str());
        }
        EditLine *editor = editor_.get();
        el_set(editor, EL_CLIENTDATA, this);
        el_set(editor, EL_PROMPT, Prompt);
        el_set(editor, EL_GETCFN, GetCharacter);
        el_set(editor, EL_HIST, history, history_.get());
        el_set(editor, EL_EDITOR, "emacs");
        el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
        // Between two lines, too, nothing cuts a long one that is pasted, and nothing echoes it.
        el_set(editor, EL_SETTY, "-x", "-icanon", "-echo", nullptr);
    }

    /// Asks for a line, without its newline; nothing at the end of the input or when the program is to stop.
    std::optional<std::string> Next() {
        shown_.Flush();
        between_fd_ = shown_.Prompting(true);
        int length = 0;
        const char *line = el_gets(editor_.get(), &length);
        shown_.Prompting(false);
        if (line == nullptr || length <= 0 || stopped_) {
            Print("\n");
            return std::nullopt;
        }
        std::string text(line, static_cast<std::size_t>(length));
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
            text.pop_back();
        }
        if (text.find_first_not_of(" \t") != std::string::npos) {
            HistEvent event;
            history(history_.get(), &event, H_ENTER, text.c_str());
            file_.Append(text);
        }
        return text;
    }

    /// Prints on the terminal.
    void Print(const std::string &text) {
        fputs(text.c_str(), out_.get());
        fflush(out_.get());
    }

private:
    static char *Prompt(EditLine *) {
        static char prompt[] = "> ";
        return prompt;
    }

    static Editor &Self(EditLine *editor) {
        void *self = nullptr;
        el_get(editor, EL_CLIENTDATA, &self);
        return *static_cast<Editor *>(self);
    }

    /// Reads one character: 1, or 0 at the end of the input and when the program is to stop.
    static int GetCharacter(EditLine *editor, wchar_t *character) {
        return Self(editor).ReadCharacter(*character);
    }

    int ReadCharacter(wchar_t &character) {
        std::mbstate_t state{};
        for (;;) {
            if (read_ == buffer_.size() && !Fill()) {
                return 0;
            }
            const std::size_t length = mbrtowc(&character, &buffer_[read_++], 1, &state);
            if (length <= 1 && character == L'\t' && read_ == buffer_.size()) {
                Complete();
                continue;
            }
            if (length <= 1) {
                character = character == L'\t' ? L' ' : character; // it is pasted with what follows
                return 1;
            }
            if (length == static_cast<std::size_t>(-1)) {
                state = {}; // not UTF-8: no line has it
            }
        }
    }

    bool Fill() {
        buffer_.resize(4096);
        read_ = 0;
        WaitForInput();
        const ssize_t got = stopped_ ? 0 : read(fd_, buffer_.data(), buffer_.size());
        buffer_.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return got > 0;
    }

    /// Waits until there is something to read or the program is to stop. What is due meanwhile is carried
    /// out; lines that come stand before what is being typed.
    void WaitForInput() {
        pollfd waiting[] = {
            {fd_, POLLIN, 0}, {stop_fd_, POLLIN, 0}, {between_fd_, POLLIN, 0}, {gateway_.DueFd(), POLLIN, 0}};
        do {
            eventfd_t count = 0;
            const bool polled = poll(waiting, std::size(waiting), -1) > 0;
            if (polled && waiting[2].revents != 0 && eventfd_read(between_fd_, &count) == 0) {
                el_set(editor_.get(), EL_REFRESH);
            }
            if (polled && waiting[3].revents != 0) {
                gateway_.CarryOutDue();
            }
            stopped_ = waiting[1].revents != 0;
        } while (!stopped_ && waiting[0].revents == 0);
    }

    /// Completes the word before the cursor as far as it is certain, else lists how it may go on.
    void Complete() {
        const LineInfo *line = el_line(editor_.get());
        const std::string typed(line->buffer, line->cursor);
        const std::vector<std::string> words = Completions(typed);
        const std::string more = words.empty() ? ""
                                 : words.size() == 1 && line->cursor == line->lastchar
                                     ? Completed(typed, words.front())
                                     : CommonBeginning(words).substr(typed.size() - WordBegin(typed));
        if (!more.empty()) {
            el_insertstr(editor_.get(), more.c_str());
        } else if (words.size() > 1) {
            Print(Columns(words));
        }
        el_set(editor_.get(), EL_REFRESH);
    }

    static std::string Columns(const std::vector<std::string> &words) {
        std::size_t width = 0;
        for (const std::string &word : words) {
            width = std::max(width, word.size() + 2);
        }
        std::string text = "\n";
        std::size_t column = 0;
        for (const std::string &word : words) {
            if (column > 0 && column + width > kColumns) {
                text += '\n';
                column = 0;
            }
            text += word + std::string(width - word.size(), ' ');
            column += width;
        }
        return text + '\n';
    }

    const int fd_;
    const int stop_fd_;
    Gateway &gateway_;
    LineQueue &shown_;
    int between_fd_ = -1;
    bool stopped_ = false;
    std::string buffer_;
    std::size_t read_ = 0;
    const HistoryFile file_;
    const File in_;
    const File out_;
    const std::unique_ptr<History, HistoryEnd> history_;
    const std::unique_ptr<EditLine, EditLineEnd> editor_;
};

/// The topic of a typed "help" or "help NAME"; nothing for anything else.
std::optional<std::string> HelpTopic(const std::string &typed) {
    const std::size_t begin = typed.find_first_not_of(" \t");
    if (begin == std::string::npos || typed.compare(begin, 4, "help") != 0) {
        return std::nullopt;
    }
    const std::size_t topic = std::min(typed.find_first_not_of(" \t", begin + 4), typed.size());
    if (topic < typed.size() && topic == begin + 4) {
        return std::nullopt; // a longer word
    }
    return typed.substr(topic, typed.find_last_not_of(" \t") + 1 - topic);
}

} // namespace

void FeedTerminal(int fd, int stop_fd, Gateway &gateway, LineQueue &shown) {
    setlocale(LC_CTYPE, "C.UTF-8"); // what lines are written in, whatever the environment says
    Editor editor(fd, stop_fd, gateway, shown);
    while (const std::optional<std::string> typed = editor.Next()) {
        try {
            if (const auto topic = HelpTopic(*typed)) {
                editor.Print(HelpText(*topic));
                continue;
            }
            const std::string line = LineOf(*typed);
            if (line != *typed) {
                editor.Print(Printable(line) + '\n');
            }
            if (line.size() > LineSource::kLongest) {
                gateway.Refuse("a line longer than 64 MiB");
            } else {
                gateway.Take(line);
            }
        } catch (const LineError &error) {
            editor.Print("error: " + Printable(error.what()) + '\n');
        }
    }
}

} // namespace tqgateway
