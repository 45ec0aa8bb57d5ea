#include "ZelFile.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstring>
#include <limits>

#include "ZelFormat.h"

static_assert(sizeof(off_t) == 8, "file positions need a 64-bit off_t");

namespace Zel {

// The open stream shared by a ZelFile and its copies. The position and size are tracked here so
// that level bookkeeping and bounds checks cost no system call; `lastWrite` records the direction
// of the last transfer, because stdio needs a seek between a write and a read on one stream.
struct ZelFile::Stream {
    explicit Stream(FILE* f) : fp(f) {}
    ~Stream() {
        if (fp != nullptr) {
            std::fclose(fp);
        }
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    FILE* fp;
    int64 pos = 0;
    int64 size = 0;
    bool lastWrite = false;
};

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
    stream_ = std::make_shared<Stream>(fp);
    struct stat st;
    if (fstat(fileno(fp), &st) == 0) {
        stream_->size = static_cast<int64>(st.st_size);
    }
    if (mode[0] == 'a') {
        stream_->pos = stream_->size;
    }
    return true;
}

bool ZelFile::close() {
    bool ok = true;
    if (stream_ != nullptr && stream_.use_count() == 1) {
        ok = std::fclose(stream_->fp) == 0;
        stream_->fp = nullptr;
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

// stdio requires a positioning call between output and input on an update stream; re-seeking to
// the tracked position whenever the direction changes keeps the stream valid both ways.
bool ZelFile::prepare(bool forWrite) {
    if (!isOpen()) {
        return false;
    }
    if (stream_->lastWrite != forWrite) {
        if (fseeko(stream_->fp, static_cast<off_t>(stream_->pos), SEEK_SET) != 0) {
            return false;
        }
        stream_->lastWrite = forWrite;
    }
    return true;
}

bool ZelFile::readBytes(void* buf, int64 n) {
    if (!prepare(false)) {
        return false;
    }
    const size_t got = std::fread(buf, 1, static_cast<size_t>(n), stream_->fp);
    stream_->pos += static_cast<int64>(got);
    return static_cast<int64>(got) == n;
}

bool ZelFile::writeBytes(const void* buf, int64 n) {
    if (!prepare(true)) {
        return false;
    }
    const size_t put = std::fwrite(buf, 1, static_cast<size_t>(n), stream_->fp);
    stream_->pos += static_cast<int64>(put);
    if (stream_->pos > stream_->size) {
        stream_->size = stream_->pos;
    }
    return static_cast<int64>(put) == n;
}

bool ZelFile::seekTo(int64 offset, int whence) {
    if (!isOpen()) {
        return false;
    }
    if (fseeko(stream_->fp, static_cast<off_t>(offset), whence) != 0) {
        const off_t at = ftello(stream_->fp);
        if (at >= 0) {
            stream_->pos = static_cast<int64>(at);
        }
        return false;
    }
    switch (whence) {
        case SEEK_SET:
            stream_->pos = offset;
            break;
        case SEEK_CUR:
            stream_->pos += offset;
            break;
        default:
            stream_->pos = static_cast<int64>(ftello(stream_->fp));
            break;
    }
    // A seek discards stdio's buffer state, so either direction may follow.
    stream_->lastWrite = false;
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
    if (!seekTo(start - kHeaderSize + kHeaderLengthOffset, SEEK_SET) ||
        !writeBytes(&length, sizeof(length))) {
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

}  // namespace Zel
