// journal.cpp - records requests, and reads those that other processes recorded.
#include "control/journal.h"

#include "control/statement_writer.h"

#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace cimsim {

namespace {

std::string line_of(const JournalEntry &entry) {
    StatementWriter out;
    out.line("request").number(entry.process).text(entry.operation).text(entry.user).text(entry.class_name);
    out.text(entry.method).text(entry.subject).option("rc", entry.rc);
    if (entry.returned)
        out.option("returned", *entry.returned);
    return out.done();
}

JournalEntry entry_of(const Statement &s) {
    if (s.words.size() != 6)
        s.fail("it needs 6 words");
    JournalEntry entry;
    entry.process = static_cast<long>(s.number(s.words[0], 0, LONG_MAX));
    entry.operation = s.words[1].text;
    entry.user = s.words[2].text;
    entry.class_name = s.words[3].text;
    entry.method = s.words[4].text;
    entry.subject = s.words[5].text;
    entry.rc = static_cast<CMPIrc>(s.number_option("rc", 0, INT_MIN, INT_MAX));
    if (s.option("returned"))
        entry.returned = static_cast<std::uint32_t>(s.number_option("returned", 0, 0, UINT32_MAX));
    return entry;
}

// Cuts off an incomplete last line: a process was killed while it wrote. No process has read that line.
void cut_partial_line(int file) {
    struct stat now;
    off_t size = fstat(file, &now) == 0 ? now.st_size : 0;
    const off_t whole = size;
    for (char last; size > 0 && pread(file, &last, 1, size - 1) == 1 && last != '\n';)
        --size;
    if (size < whole)
        (void)!ftruncate(file, size);
}

} // namespace

void Journal::use(const std::string &path) {
    path_ = path;
    read_ = 0;
    entries_.clear();
}

void Journal::clear() {
    if (!path_.empty())
        unlink(path_.c_str());
    use(path_);
}

void Journal::record(const JournalEntry &entry) {
    if (path_.empty()) {
        entries_.push_back(entry);
        return;
    }
    const int file = open(path_.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    const std::string line = line_of(entry);
    if (file >= 0)
        cut_partial_line(file);
    if (file < 0 || write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        std::fprintf(stderr, "cimsim: %s: a request could not be recorded\n", path_.c_str());
    if (file >= 0)
        close(file);
}

const std::deque<JournalEntry> &Journal::entries() {
    const int file = path_.empty() ? -1 : open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (file < 0)
        return entries_;
    struct stat now;
    if (fstat(file, &now) == 0 && now.st_size < read_) // another process has started a new journal
        use(path_);
    std::string text;
    char block[65536];
    for (ssize_t got; (got = pread(file, block, sizeof block, read_ + static_cast<off_t>(text.size()))) > 0;)
        text.append(block, static_cast<std::size_t>(got));
    close(file);
    text.resize(text.rfind('\n') + 1); // npos + 1 is 0
    read_ += static_cast<long>(text.size());
    try {
        for (const Statement &statement : parse(text))
            entries_.push_back(entry_of(statement));
    } catch (const StatementError &error) {
        std::fprintf(stderr, "cimsim: %s: %s\n", path_.c_str(), error.what());
    }
    return entries_;
}

} // namespace cimsim
