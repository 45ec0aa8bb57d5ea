#include "ZelFile.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <limits>

#include "ZelFormat.h"

static_assert(sizeof(off_t) == 8, "file positions need a 64-bit off_t");

namespace Zel {

namespace {

// The write-behind buffer's size: large enough that the back-patches of a sample's groups land in
// memory, small enough to allocate once per written file without notice.
constexpr int64 kBufferSize = int64(1) << 20;

// The read-ahead of a stream read past stdio: enough for the headers that follow a payload and for
// many small chunks, little against the payloads of a mesh.
constexpr int64 kAheadSize = int64(16) << 10;

// Writes all `n` bytes at `offset` of descriptor `fd`, resuming after partial writes.
bool pwriteAll(int fd, const char* p, int64 n, int64 offset) {
    while (n > 0) {
        const ssize_t put = pwrite(fd, p, static_cast<size_t>(n), static_cast<off_t>(offset));
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put <= 0) {
            if (put == 0) {
                errno = EIO;
            }
            return false;
        }
        p += put;
        n -= put;
        offset += put;
    }
    return true;
}

}  // namespace

// The open stream shared by a ZelFile and its copies. The position and size are tracked here so
// that level bookkeeping and bounds checks cost no system call. Where stdio's own stream stands
// and which way it moved last are tracked too, because stdio needs a seek between a write and a
// read, and held and patched bytes move the position without touching stdio.
struct ZelFile::Stream {
    enum class Dir { kNone, kRead, kWrite };
    // Bytes held in memory at `start` until the held writes are committed.
    struct Span {
        int64 start;
        std::vector<char> bytes;
        int64 end() const { return start + static_cast<int64>(bytes.size()); }
    };

    Stream(FILE* f, bool buffered, bool pastStdio)
        : fp(f), writeBehind(buffered), direct(pastStdio) {}
    ~Stream() {
        if (fp != nullptr) {
            flushBuffer();
            std::fclose(fp);
        }
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    bool moveTo(int64 at, Dir d);
    int64 readDirect(char* p, int64 n);
    bool moveDirect(int64 offset, int whence);
    bool flushBuffer();
    bool writeThrough(const char* p, int64 n);
    bool writeBuffered(const char* p, int64 n);
    bool buffered(int64 at, int64 n) const;
    bool patch(int64 at, const void* p, int64 n);
    void hold(const char* p, int64 n);
    int64 overlay(char* p, int64 n, int64 got) const;
    void grow() { size = std::max(size, pos); }
    bool holding() const { return holdOffset >= 0; }

    FILE* fp;
    int64 pos = 0;
    int64 size = 0;
    int64 filePos = 0;
    Dir dir = Dir::kNone;
    // The write-behind buffer: `bufferLength` bytes that belong at `bufferStart`, which always
    // end at `pos` while there are any. Allocated on the first buffered write.
    const bool writeBehind;
    std::unique_ptr<char[]> buffer;
    int64 bufferStart = 0;
    int64 bufferLength = 0;
    // errno of the first buffered write that failed: the caller was told those bytes were
    // written, so flush, sync, commit and close report it.
    int lostWrite = 0;
    // Writes below `holdOffset` (-1: none) wait in `held`: sorted, neither overlapping nor
    // touching, so that committing them in descending order writes each byte once.
    int64 holdOffset = -1;
    std::vector<Span> held;
    // A regular file opened only for reading is read past stdio, straight from its descriptor,
    // whose offset `fdPos` (-1: unknown) only those reads move: a seek costs no system call, and a
    // read one, which also fetches the next kAheadSize bytes into `ahead` (the `aheadLength` bytes
    // there belong at `aheadStart`); reading on from there needs no seek.
    const bool direct;
    std::unique_ptr<char[]> ahead;
    int64 aheadStart = 0;
    int64 aheadLength = 0;
    int64 fdPos = -1;
};

// Puts stdio's stream at `at` for a transfer in direction `d`, seeking only when it stands
// elsewhere or turns from reading to writing or back.
bool ZelFile::Stream::moveTo(int64 at, Dir d) {
    // A transfer through stdio may move the descriptor's offset under the reads past it.
    fdPos = -1;
    if (filePos != at || (dir != Dir::kNone && dir != d)) {
        if (fseeko(fp, static_cast<off_t>(at), SEEK_SET) != 0) {
            filePos = -1;
            return false;
        }
        filePos = at;
    }
    dir = d;
    return true;
}

// Reads `n` bytes at `pos` into `p`: those the read-ahead holds from there, the rest with one
// readv that refills the read-ahead with the bytes behind them, so that reading on from there
// (the next chunk headers, the next small chunks, the next object) costs no further system call.
// Returns how many arrived; fewer than `n` at the end of the file or on an error.
int64 ZelFile::Stream::readDirect(char* p, int64 n) {
    int64 done = 0;
    if (pos >= aheadStart && pos - aheadStart < aheadLength) {
        done = std::min(n, aheadLength - (pos - aheadStart));
        std::memcpy(p, ahead.get() + (pos - aheadStart), static_cast<size_t>(done));
    }
    if (ahead == nullptr) {
        ahead.reset(new char[kAheadSize]);
    }
    const int fd = fileno(fp);
    while (done < n) {
        // Reads on from the end of the last need no seek.
        if (fdPos != pos + done) {
            fdPos = lseek(fd, static_cast<off_t>(pos + done), SEEK_SET);
            if (fdPos < 0) {
                break;
            }
        }
        iovec parts[2] = {{p + done, static_cast<size_t>(n - done)},
                          {ahead.get(), static_cast<size_t>(kAheadSize)}};
        const ssize_t got = readv(fd, parts, 2);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        fdPos += got;
        // Bytes short of the first part leave the read-ahead as it was.
        if (got > n - done) {
            aheadStart = pos + n;
            aheadLength = got - (n - done);
            done = n;
        } else {
            done += got;
        }
    }
    return done;
}

// Moves the position of a stream read past stdio where fseeko would move stdio's: to `offset`
// from the start (SEEK_SET) or from the file's current end (SEEK_END). False, errno set, for
// another origin or a position before the start.
bool ZelFile::Stream::moveDirect(int64 offset, int whence) {
    if (whence == SEEK_END) {
        struct stat st;
        if (fstat(fileno(fp), &st) != 0) {
            return false;
        }
        if (offset > std::numeric_limits<int64>::max() - static_cast<int64>(st.st_size)) {
            errno = EOVERFLOW;
            return false;
        }
        offset += static_cast<int64>(st.st_size);
    } else if (whence != SEEK_SET) {
        errno = EINVAL;
        return false;
    }
    if (offset < 0) {
        errno = EINVAL;
        return false;
    }
    pos = offset;
    return true;
}

bool ZelFile::Stream::flushBuffer() {
    if (bufferLength == 0) {
        return true;
    }
    const int64 n = bufferLength;
    // The bytes go now or are lost: a later flush must not write them a second time.
    bufferLength = 0;
    if (!moveTo(bufferStart, Dir::kWrite)) {
        lostWrite = lostWrite != 0 ? lostWrite : errno;
        return false;
    }
    const size_t put = std::fwrite(buffer.get(), 1, static_cast<size_t>(n), fp);
    filePos += static_cast<int64>(put);
    if (static_cast<int64>(put) == n && std::fflush(fp) == 0) {
        return true;
    }
    lostWrite = lostWrite != 0 ? lostWrite : (errno != 0 ? errno : EIO);
    filePos = -1;
    return false;
}

bool ZelFile::Stream::writeThrough(const char* p, int64 n) {
    if (!moveTo(pos, Dir::kWrite)) {
        return false;
    }
    const size_t put = std::fwrite(p, 1, static_cast<size_t>(n), fp);
    pos += static_cast<int64>(put);
    filePos = static_cast<int64>(put) == n ? filePos + n : -1;
    grow();
    return static_cast<int64>(put) == n;
}

bool ZelFile::Stream::writeBuffered(const char* p, int64 n) {
    if (bufferLength > 0 && (pos != bufferStart + bufferLength || bufferLength + n > kBufferSize)) {
        if (!flushBuffer()) {
            return false;
        }
    }
    if (n > kBufferSize) {
        return writeThrough(p, n);
    }
    if (buffer == nullptr) {
        buffer.reset(new char[kBufferSize]);
    }
    if (bufferLength == 0) {
        bufferStart = pos;
    }
    std::memcpy(buffer.get() + bufferLength, p, static_cast<size_t>(n));
    bufferLength += n;
    pos += n;
    grow();
    return true;
}

// Whether all `n` bytes at `at` lie in the buffered run.
bool ZelFile::Stream::buffered(int64 at, int64 n) const {
    return bufferLength > 0 && at >= bufferStart && n <= bufferLength &&
           at - bufferStart <= bufferLength - n;
}

// Overwrites `n` bytes at `at` in the buffer; false, touching nothing, unless all of them lie in
// the buffered run.
bool ZelFile::Stream::patch(int64 at, const void* p, int64 n) {
    if (!buffered(at, n)) {
        return false;
    }
    std::memcpy(buffer.get() + (at - bufferStart), p, static_cast<size_t>(n));
    return true;
}

// Holds `n` bytes for the current position, merging every span they overlap or touch.
void ZelFile::Stream::hold(const char* p, int64 n) {
    const int64 start = pos, end = pos + n;
    auto first = std::lower_bound(held.begin(), held.end(), start,
                                  [](const Span& s, int64 at) { return s.end() < at; });
    auto last = first;
    while (last != held.end() && last->start <= end) {
        ++last;
    }
    Span merged{start, {}};
    if (first != last) {
        merged.start = std::min(start, first->start);
        merged.bytes.resize(
            static_cast<size_t>(std::max(end, std::prev(last)->end()) - merged.start));
        for (auto it = first; it != last; ++it) {
            std::memcpy(merged.bytes.data() + (it->start - merged.start), it->bytes.data(),
                        it->bytes.size());
        }
    } else {
        merged.bytes.resize(static_cast<size_t>(n));
    }
    // The newest bytes win.
    std::memcpy(merged.bytes.data() + (start - merged.start), p, static_cast<size_t>(n));
    const auto at = held.erase(first, last);
    held.insert(at, std::move(merged));
    pos = end;
    grow();
}

// Lays the held bytes over `n` bytes just read at the current position, of which the file gave
// `got`; returns how many of the `n` are now known (held bytes may reach past the file's end).
int64 ZelFile::Stream::overlay(char* p, int64 n, int64 got) const {
    int64 known = got;
    for (const Span& s : held) {
        if (s.start >= pos + n) {
            break;
        }
        const int64 from = std::max(s.start, pos), to = std::min(s.end(), pos + n);
        if (from < to) {
            std::memcpy(p + (from - pos), s.bytes.data() + (from - s.start),
                        static_cast<size_t>(to - from));
            if (from <= pos + known) {
                known = std::max(known, to - pos);
            }
        }
    }
    return known;
}

ZelFile::ZelFile() = default;

ZelFile::ZelFile(const char* path, const char* mode, bool* ok) {
    const bool opened = open(path, mode);
    if (ok != nullptr) {
        *ok = opened;
    }
}

ZelFile::ZelFile(const ZelFile& other) = default;

ZelFile& ZelFile::operator=(const ZelFile& other) {
    if (this != &other) {
        close();
        stream_ = other.stream_;
        levels_ = other.levels_;
        scratch_ = other.scratch_;
    }
    return *this;
}

ZelFile::~ZelFile() {
    close();
}

bool ZelFile::open(const char* path, const char* mode) {
    if (isOpen()) {
        close();
    }
    if (path == nullptr || mode == nullptr) {
        return false;
    }
    FILE* fp = std::fopen(path, mode);
    if (fp == nullptr) {
        return false;
    }
    struct stat st;
    const bool stated = fstat(fileno(fp), &st) == 0;
    // Only a regular file takes back-patches in memory: a device or pipe keeps stdio's own way of
    // failing at the write that reaches it.
    const bool writable = mode[0] == 'w' || (mode[0] == 'r' && std::strchr(mode, '+') != nullptr);
    const bool regular = stated && S_ISREG(st.st_mode);
    stream_ =
        std::make_shared<Stream>(fp, writable && regular, mode[0] == 'r' && !writable && regular);
    if (stated) {
        stream_->size = static_cast<int64>(st.st_size);
    }
    if (mode[0] == 'a') {
        stream_->pos = stream_->size;
        stream_->filePos = -1;
    }
    return true;
}

bool ZelFile::close() {
    bool ok = true;
    if (stream_ != nullptr && stream_.use_count() == 1) {
        // A failed final write is kept in lostWrite, like any earlier one.
        stream_->flushBuffer();
        const int lost = stream_->lostWrite;
        ok = std::fclose(stream_->fp) == 0 && lost == 0;
        stream_->fp = nullptr;
        if (lost != 0) {
            errno = lost;
        }
    }
    stream_.reset();
    levels_.clear();
    scratch_.clear();
    scratch_.shrink_to_fit();
    return ok;
}

bool ZelFile::isOpen() const {
    return stream_ != nullptr;
}

bool ZelFile::exists(const char* path) {
    return path != nullptr && access(path, F_OK) == 0;
}

bool ZelFile::isReadable(const char* path) {
    return path != nullptr && access(path, R_OK) == 0;
}

bool ZelFile::isWritable(const char* path) {
    return path != nullptr && access(path, W_OK) == 0;
}

bool ZelFile::isZelFile(const char* path) {
    if (path == nullptr) {
        return false;
    }
    ZelFile f;
    if (!f.open(path, "r")) {
        return false;
    }
    ZelHeader h;
    return f.readHeader(h) && h.tag == kTagDZEL;
}

bool ZelFile::readBytes(void* buf, int64 n) {
    if (!isOpen()) {
        return false;
    }
    Stream& s = *stream_;
    int64 got = 0;
    if (s.direct) {
        got = s.readDirect(static_cast<char*>(buf), n);
    } else {
        if (!s.flushBuffer() || !s.moveTo(s.pos, Stream::Dir::kRead)) {
            return false;
        }
        got = static_cast<int64>(std::fread(buf, 1, static_cast<size_t>(n), s.fp));
        s.filePos += got;
    }
    const int64 known = s.held.empty() ? got : s.overlay(static_cast<char*>(buf), n, got);
    s.pos += known;
    return known == n;
}

bool ZelFile::writeBytes(const void* buf, int64 n) {
    if (!isOpen()) {
        return false;
    }
    Stream& s = *stream_;
    const char* p = static_cast<const char*>(buf);
    if (s.holding() && s.pos < s.holdOffset && n > 0) {
        const int64 below = std::min(n, s.holdOffset - s.pos);
        s.hold(p, below);
        p += below;
        n -= below;
        if (n == 0) {
            return true;
        }
    }
    return s.writeBehind ? s.writeBuffered(p, n) : s.writeThrough(p, n);
}

bool ZelFile::seekTo(int64 offset, int whence) {
    if (!isOpen() || !stream_->flushBuffer()) {
        return false;
    }
    Stream& s = *stream_;
    // Relative seeks start from the tracked position: stdio's lags behind it after held writes.
    if (whence == SEEK_CUR) {
        if (offset > std::numeric_limits<int64>::max() - s.pos) {
            errno = EOVERFLOW;
            return false;
        }
        offset += s.pos;
        whence = SEEK_SET;
    }
    if (s.direct) {
        return s.moveDirect(offset, whence);
    }
    if (fseeko(s.fp, static_cast<off_t>(offset), whence) != 0) {
        s.filePos = -1;
        return false;
    }
    const int64 target = whence == SEEK_SET ? offset : static_cast<int64>(ftello(s.fp));
    s.pos = target;
    s.filePos = target;
    // A seek discards stdio's buffer state, so either direction may follow.
    s.dir = Stream::Dir::kNone;
    return true;
}

void ZelFile::popEndedGroups() {
    while (!levels_.empty() && levels_.back() == stream_->pos) {
        levels_.pop_back();
    }
}

bool ZelFile::readHeader(ZelHeader& h) {
    if (!readBytes(&h, sizeof(ZelHeader))) {
        return false;
    }
    // A negative group length announces no payload to enter; the read or skip that meets it fails.
    if (h.type == kTypeGroup && h.length > 0) {
        // A length no file can hold would overflow the end position; such a group ends beyond
        // any position the stream reaches, like any other group that runs past the end.
        const int64 room = std::numeric_limits<int64>::max() - stream_->pos;
        levels_.push_back(h.length <= room ? stream_->pos + h.length
                                           : std::numeric_limits<int64>::max());
    } else {
        popEndedGroups();
    }
    return true;
}

bool ZelFile::readData(const ZelHeader& h, void* buf) {
    if (buf == nullptr) {
        return skipData(h);
    }
    if (!isOpen() || h.length < 0 || h.length > bytesLeft()) {
        return false;
    }
    if (h.length > 0 && !readBytes(buf, h.length)) {
        return false;
    }
    popEndedGroups();
    return true;
}

bool ZelFile::readScratch(const ZelHeader& h) {
    if (!isOpen() || h.length < 0 || h.length > bytesLeft()) {
        return false;
    }
    if (h.length == 0) {
        popEndedGroups();
        return true;
    }
    if (static_cast<int64>(scratch_.size()) < h.length) {
        scratch_.resize(static_cast<size_t>(h.length));
    }
    if (!readBytes(scratch_.data(), h.length)) {
        return false;
    }
    popEndedGroups();
    return true;
}

bool ZelFile::readData(const ZelHeader& h, std::string& s) {
    s.clear();
    if (!readScratch(h)) {
        return false;
    }
    const size_t n = static_cast<size_t>(h.length);
    const void* nul = n > 0 ? std::memchr(scratch_.data(), '\0', n) : nullptr;
    s.assign(scratch_.data(), nul != nullptr ? static_cast<const char*>(nul) - scratch_.data() : n);
    return true;
}

bool ZelFile::readData(const ZelHeader& h, std::vector<std::string>& v) {
    v.clear();
    if (!readScratch(h)) {
        return false;
    }
    const char* p = scratch_.data();
    const char* end = p + h.length;
    while (p < end) {
        const void* nul = std::memchr(p, '\0', static_cast<size_t>(end - p));
        const char* stop = nul != nullptr ? static_cast<const char*>(nul) : end;
        v.emplace_back(p, stop);
        p = stop + 1;
    }
    return true;
}

bool ZelFile::skipData(const ZelHeader& h) {
    if (!isOpen() || h.length < 0) {
        return false;
    }
    if (h.length > 0 && !seekTo(h.length, SEEK_CUR)) {
        return false;
    }
    popEndedGroups();
    return true;
}

bool ZelFile::writeChunk(const ZelHeader& h, const void* data, int64 offset) {
    if (!isOpen() || h.length < 0) {
        return false;
    }
    // A chunk rewritten inside the buffered run is patched there; a skipped payload keeps the
    // bytes it skips, as the seek over it would.
    if (offset >= 0 && h.length <= kBufferSize &&
        stream_->buffered(offset, kHeaderSize + h.length)) {
        stream_->patch(offset, &h, kHeaderSize);
        if (data != nullptr && h.length != 0) {
            stream_->patch(offset + kHeaderSize, data, h.length);
        }
        return true;
    }
    const int64 here = stream_->pos;
    if (offset >= 0 && !seekTo(offset, SEEK_SET)) {
        return false;
    }
    if (!writeBytes(&h, sizeof(ZelHeader))) {
        return false;
    }
    if (h.length != 0) {
        const bool ok = data != nullptr ? writeBytes(data, h.length) : seekTo(h.length, SEEK_CUR);
        if (!ok) {
            return false;
        }
    }
    return offset < 0 || seekTo(here, SEEK_SET);
}

bool ZelFile::writeChunk(uint32 tag, const char* s) {
    if (s == nullptr) {
        return false;
    }
    const ZelHeader h(tag, kTypeCstr, static_cast<int64>(std::strlen(s)) + 1);
    return writeChunk(h, s, -1);
}

bool ZelFile::writeChunk(uint32 tag, const std::string& s, int64 offset, uint8 compound,
                         uint8 dimension) {
    const ZelHeader h(tag, kTypeCstr, static_cast<int64>(s.size()) + 1, compound, dimension);
    return writeChunk(h, s.c_str(), offset);
}

bool ZelFile::writeChunk(uint32 tag, const std::vector<std::string>& v, int64 offset,
                         uint8 compound, uint8 dimension) {
    size_t length = 0;
    for (const std::string& s : v) {
        length += s.size() + 1;
    }
    if (scratch_.size() < length) {
        scratch_.resize(length);
    }
    char* p = scratch_.data();
    for (const std::string& s : v) {
        std::memcpy(p, s.c_str(), s.size() + 1);
        p += s.size() + 1;
    }
    const ZelHeader h(tag, kTypeCstr, static_cast<int64>(length), compound, dimension);
    return writeChunk(h, length != 0 ? scratch_.data() : nullptr, offset);
}

bool ZelFile::startGroup(const ZelHeader& h) {
    if (!isOpen() || !writeBytes(&h, sizeof(ZelHeader))) {
        return false;
    }
    levels_.push_back(stream_->pos);
    return true;
}

bool ZelFile::endGroup() {
    if (!isOpen() || levels_.empty()) {
        return false;
    }
    const int64 end = stream_->pos;
    const int64 start = levels_.back();
    const int64 length = end - start;
    // The length field sits inside the header that ends where the payload starts.
    const int64 field = start - kHeaderSize + kHeaderLengthOffset;
    if (stream_->patch(field, &length, sizeof(length))) {
        levels_.pop_back();
        return true;
    }
    if (!seekTo(field, SEEK_SET) || !writeBytes(&length, sizeof(length))) {
        return false;
    }
    levels_.pop_back();
    return seekTo(end, SEEK_SET);
}

bool ZelFile::seek(int64 offset, int whence, bool clearLevels) {
    if (clearLevels) {
        levels_.clear();
    }
    return seekTo(offset, whence);
}

int64 ZelFile::tell(bool* ok) const {
    if (ok != nullptr) {
        *ok = isOpen();
    }
    return isOpen() ? stream_->pos : -1;
}

bool ZelFile::rewind() {
    if (!isOpen()) {
        return false;
    }
    std::clearerr(stream_->fp);
    return seekTo(0, SEEK_SET);
}

uint64 ZelFile::getLevel() const {
    return levels_.size();
}

int64 ZelFile::bytesLeft() const {
    return isOpen() ? stream_->size - stream_->pos : 0;
}

bool ZelFile::flush() {
    if (!isOpen()) {
        return false;
    }
    Stream& s = *stream_;
    if (!s.flushBuffer() || std::fflush(s.fp) != 0) {
        return false;
    }
    if (s.lostWrite != 0) {
        errno = s.lostWrite;
        return false;
    }
    return true;
}

bool ZelFile::sync() {
    return flush() && fsync(fileno(stream_->fp)) == 0;
}

void ZelFile::holdWritesBelow(int64 offset) {
    assert(offset >= 0);
    if (!isOpen() || offset < 0) {
        return;
    }
    // Bytes written before holding began are not the update's: they go to the file as usual. A
    // failure to write them is kept and reported by the commit.
    stream_->flushBuffer();
    stream_->holdOffset = offset;
    stream_->held.clear();
}

bool ZelFile::commitHeldWrites() {
    if (!sync()) {
        return false;
    }
    Stream& s = *stream_;
    const int fd = fileno(s.fp);
    for (auto it = s.held.rbegin(); it != s.held.rend(); ++it) {
        if (!pwriteAll(fd, it->bytes.data(), static_cast<int64>(it->bytes.size()), it->start)) {
            return false;
        }
    }
    if (!s.held.empty() && fsync(fd) != 0) {
        return false;
    }
    s.held.clear();
    s.holdOffset = -1;
    // stdio may still buffer the bytes read before the commit replaced them.
    s.filePos = -1;
    return true;
}

bool ZelFile::discardHeldWrites() {
    if (!isOpen()) {
        return false;
    }
    Stream& s = *stream_;
    const int64 offset = s.holdOffset;
    s.held.clear();
    s.holdOffset = -1;
    if (offset < 0) {
        return true;
    }
    // Everything buffered lies at or past the offset and is cut off anyway. stdio may still hold
    // such bytes too: they reach the file now, before the cut, never after it.
    s.bufferLength = 0;
    std::fflush(s.fp);
    s.filePos = -1;
    const int fd = fileno(s.fp);
    struct stat st;
    if (fstat(fd, &st) != 0 || (st.st_size > offset && ftruncate(fd, offset) != 0)) {
        return false;
    }
    s.size = std::min(static_cast<int64>(st.st_size), offset);
    return true;
}

}  // namespace Zel
