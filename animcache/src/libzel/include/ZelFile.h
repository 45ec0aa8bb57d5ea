// ZelFile: the chunk stream, the only code in the library that touches a file.
#ifndef ZEL_FILE_H
#define ZEL_FILE_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "ZelHeader.h"

namespace Zel {

// The element type code that stores values of type T.
template <class T>
struct ZelTypeCode;
template <>
struct ZelTypeCode<char> {
    static constexpr uint8 value = kTypeUndef;
};
template <>
struct ZelTypeCode<std::string> {
    static constexpr uint8 value = kTypeCstr;
};
template <>
struct ZelTypeCode<int> {
    static constexpr uint8 value = kTypeInt32;
};
template <>
struct ZelTypeCode<float> {
    static constexpr uint8 value = kTypeFloat;
};
template <>
struct ZelTypeCode<int64> {
    static constexpr uint8 value = kTypeInt64;
};
template <>
struct ZelTypeCode<double> {
    static constexpr uint8 value = kTypeDouble;
};

// Reads and writes chunk headers and payloads over one stdio stream, as raw little-endian bytes.
// A level stack tracks how deeply the position is nested in groups: while reading each entry is
// the position where an entered group ends; while writing, where a started group's payload
// begins, so that endGroup can back-patch the group's length. Every bool operation returns false
// when the stream is not open. Nothing here prints or throws.
//
// Copies share the open stream (same handle, same position); the stream is closed when the last
// copy closes it or is destroyed.
//
// Writes to a regular file opened for writing collect in a write-behind buffer, where a group's
// length and a chunk rewritten at an offset inside the buffer are patched without a seek. Reads,
// seeks, rewind and close write the buffer out first, so the file's bytes are those of writing
// straight through. A stream opened "r" writes straight through and fails at once.
//
// A regular file opened "r" is read from its descriptor past stdio, through a small read-ahead of
// its own: a seek costs no system call, and reading a chunk's payload and then the headers behind
// it costs one.
class ZEL_API ZelFile {
  public:
    ZelFile();
    // Constructs closed, then opens `path` with `mode`; `*ok` (when given) receives the result.
    ZelFile(const char* path, const char* mode, bool* ok = nullptr);
    ZelFile(const ZelFile& other);
    ZelFile& operator=(const ZelFile& other);
    virtual ~ZelFile();

    // Closes any open stream, then opens `path` with the stdio mode ("r", "r+", "w", ...).
    bool open(const char* path, const char* mode);
    // Writes out the buffer, closes the stream and forgets all nesting and held bytes; false when
    // the final write, an earlier write of buffered bytes or closing itself failed.
    bool close();
    bool isOpen() const;

    // The operating system's existence, read-permission and write-permission tests.
    static bool exists(const char* path);
    static bool isReadable(const char* path);
    static bool isWritable(const char* path);
    // True exactly when `path` opens for reading and its first header reads with tag "DZEL".
    static bool isZelFile(const char* path);

    // Reads the next 16 bytes into `h` (false on a short read), then maintains the level stack:
    // a non-empty group pushes its end; anything else pops every group that ends here.
    bool readHeader(ZelHeader& h);
    // Reads the payload `h` announces into `buf` (skips it when `buf` is null). False on a
    // negative length or when fewer bytes are left; then pops the groups that end here.
    bool readData(const ZelHeader& h, void* buf);
    // Reads a string payload: the bytes up to the first NUL (all of them when there is none).
    bool readData(const ZelHeader& h, std::string& s);
    // Reads a string-list payload: NUL-separated strings; a final run without NUL still counts.
    bool readData(const ZelHeader& h, std::vector<std::string>& v);
    // Moves forward over the payload `h` announces (never backwards: a negative length fails);
    // then pops the groups that end here. A skip past the end of the file is allowed.
    bool skipData(const ZelHeader& h);

    // Writes header `h` and `h.length` bytes of `data` (with `data` null the payload is skipped,
    // reserving space). With `offset` >= 0 the chunk is written there and the position restored.
    // Never touches the level stack.
    bool writeChunk(const ZelHeader& h, const void* data, int64 offset = -1);
    // A "cstr" chunk holding `s` and its NUL, at the current position.
    bool writeChunk(uint32 tag, const char* s);
    bool writeChunk(uint32 tag, const std::string& s, int64 offset = -1, uint8 compound = 0,
                    uint8 dimension = 0);
    // A "cstr" chunk holding every string followed by one NUL; an empty list writes a header only.
    bool writeChunk(uint32 tag, const std::vector<std::string>& v, int64 offset = -1,
                    uint8 compound = 0, uint8 dimension = 0);
    // A leaf chunk of the element type of T. An empty vector writes a header-only chunk at the
    // current position, whatever `offset` says.
    template <class T>
    bool writeChunk(uint32 tag, const std::vector<T>& values, int64 offset = -1, uint8 compound = 0,
                    uint8 dimension = 0) {
        ZelHeader h(tag, ZelTypeCode<T>::value, static_cast<int64>(values.size() * sizeof(T)),
                    compound, dimension);
        if (values.empty()) {
            return writeChunk(h, nullptr, -1);
        }
        return writeChunk(h, values.data(), offset);
    }

    // Writes the group header `h` as it stands (normally with length 0) and pushes the payload
    // start on the level stack.
    bool startGroup(const ZelHeader& h);
    // Back-patches the innermost started group's length (current position minus payload start),
    // pops it and returns to the current position. False when no group is open.
    bool endGroup();

    // Standard 64-bit seek (SEEK_SET, SEEK_CUR, SEEK_END); empties the level stack first when
    // `clearLevels` is true.
    bool seek(int64 offset, int whence, bool clearLevels);
    // The current position, or -1 (and `*ok` false) when closed.
    int64 tell(bool* ok = nullptr) const;
    // Back to the start of the file; the level stack is left as it is.
    bool rewind();
    // How many groups enclose the current position.
    uint64 getLevel() const;
    // The bytes between the current position and the end of the file (0 or less past the end, or
    // when closed). Readers compare a payload length with it before allocating for the payload.
    int64 bytesLeft() const;

    // Writes everything buffered to the system; false when a write fails (errno says why).
    bool flush();
    // flush(), then asks the system to put the file's data on disk (fsync). False on failure.
    bool sync();
    // From now on, bytes written below `offset` (normally the file's size) are held in memory
    // instead of written, and reads see them; writes at or after `offset` go to the file as usual.
    // This lets an in-place update become visible only once everything it needs is on disk.
    void holdWritesBelow(int64 offset);
    // Syncs what was written at or past the held offset, then writes the held bytes from the
    // highest offset down and syncs again. Ends holding. False on any failure, errno set; the held
    // bytes are then kept, so that discardHeldWrites can still cut the file back.
    bool commitHeldWrites();
    // Forgets the held bytes and whatever is buffered, cuts the file back to the held offset
    // (ftruncate) and ends holding. False with errno set when the cut fails.
    bool discardHeldWrites();

  private:
    struct Stream;

    bool readBytes(void* buf, int64 n);
    bool writeBytes(const void* buf, int64 n);
    bool seekTo(int64 offset, int whence);
    void popEndedGroups();
    bool readScratch(const ZelHeader& h);

    std::shared_ptr<Stream> stream_;
    std::vector<int64> levels_;
    std::vector<char> scratch_;
};

}  // namespace Zel

#endif
