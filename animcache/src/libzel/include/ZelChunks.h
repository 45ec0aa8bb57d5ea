// The in-memory chunk tree: the polymorphic base node, the typed leaf nodes and the group node.
#ifndef ZEL_CHUNKS_H
#define ZEL_CHUNKS_H

#include <ostream>
#include <string>
#include <vector>

#include "ZelFile.h"
#include "ZelHeader.h"
#include "ZelTypes.h"

namespace Zel {

// Base of every node of the chunk tree. Holds one header; the base node itself stands for a chunk
// of a type the library does not interpret (its payload is skipped when read and reserved, not
// written, when written).
class ZEL_API ZelChunk {
  public:
    // Header "FREE", every code 0, length 0.
    ZelChunk();
    explicit ZelChunk(const ZelHeader& h);
    ZelChunk(const ZelChunk&) = default;
    ZelChunk& operator=(const ZelChunk&) = default;
    virtual ~ZelChunk();

    // Empties the node's content; the header stays. Nothing to empty in the base.
    virtual void reset();
    // Payload length in bytes; the base reports the stored header length.
    virtual int64 getLength() const;
    // Fills the node from the payload that follows `h` (already read from `f`). The base requires
    // `h`'s tag and type to equal its own (else false, nothing consumed) and skips the payload;
    // its own header is not updated.
    virtual bool read(const ZelHeader& h, ZelFile& f);
    // Writes header and payload at the current position. The base writes its header and moves
    // past `length` bytes without writing them, reserving the space.
    virtual bool write(ZelFile& f) const;
    // Writes ". " `indent` times, the header text and " : ". No newline.
    virtual std::ostream& print(std::ostream& os, int indent) const;

    ZelHeader getHeader() const { return header_; }
    uint32 getTag() const { return header_.tag; }
    uint8 getType() const { return header_.type; }
    uint8 getCompound() const { return header_.compound; }
    uint8 getDimension() const { return header_.dimension; }
    // Replace the stored tag, or the whole stored header.
    void setTag(uint32 tag) { header_.tag = tag; }
    void setHeader(const ZelHeader& h) { header_ = h; }
    // Turns the node into reserved space: the tag becomes "FREE", everything else stays.
    void free();

    // A new empty node for a chunk of `type` (leaf of that element type, group for type 1, plain
    // node for any other code) carrying `tag`; owned by the caller. Null only if allocation fails.
    static ZelChunk* create(uint32 tag, uint8 type);
    // A new deep copy owned by the caller, or null for a null node, a "FREE" node, or a node of
    // type 0 or above 6. A group is copied as a plain group of its generic children.
    static ZelChunk* copy(const ZelChunk* c);

  protected:
    ZelHeader header_;
};

// A leaf node: a flat array of one element type. T is char (type 0), std::string (2), int (3),
// float (4), int64 (5) or double (6); the type code is fixed by T.
template <class T>
class ZEL_API ZelLeafChunk : public ZelChunk {
  public:
    // Tag "FREE", codes 0, length 0, no values.
    ZelLeafChunk();
    explicit ZelLeafChunk(uint32 tag);
    // Copies `values`; the length becomes their byte size.
    ZelLeafChunk(uint32 tag, const std::vector<T>& values);
    ZelLeafChunk(uint32 tag, uint8 compound, uint8 dimension);
    ZelLeafChunk(uint32 tag, uint8 compound, uint8 dimension, const std::vector<T>& values);
    // Take `values` over without copying them (`values` is left empty); the length becomes their
    // byte size.
    ZelLeafChunk(uint32 tag, std::vector<T>&& values);
    ZelLeafChunk(uint32 tag, uint8 compound, uint8 dimension, std::vector<T>&& values);
    ~ZelLeafChunk() override;

    // Empties the values; the header stays.
    void reset() override;
    // False, consuming nothing, unless `h`'s tag and type equal the node's. Otherwise the header
    // becomes `h`; false when the length is not a whole number of elements or exceeds the bytes
    // left in `f`; else the values are read.
    bool read(const ZelHeader& h, ZelFile& f) override;
    // Header with the byte size of the current values as length, then the values.
    bool write(ZelFile& f) const override;
    // The base print, then every value followed by a blank (floats with precision 8, doubles 16;
    // the precision stays set on `os`). No newline.
    std::ostream& print(std::ostream& os, int indent) const override;

    const std::vector<T>& values() const { return values_; }
    std::vector<T>& values() { return values_; }
    // Sets the stored header length to the byte size of the values.
    void updateLength();

  private:
    std::vector<T> values_;
};

extern template class ZEL_API ZelLeafChunk<char>;
extern template class ZEL_API ZelLeafChunk<std::string>;
extern template class ZEL_API ZelLeafChunk<int>;
extern template class ZEL_API ZelLeafChunk<float>;
extern template class ZEL_API ZelLeafChunk<int64>;
extern template class ZEL_API ZelLeafChunk<double>;

// A group node (type 1): an ordered list of owned child nodes. Derived groups keep the children
// they know in members of their own through the three protected hooks; everything else lands in
// the generic list and is written back unchanged.
class ZEL_API ZelGroupChunk : public ZelChunk {
  public:
    // Header "FREE", type 1, codes 0, length 0, no children.
    ZelGroupChunk();
    // Header (tag, type 1, length 0, codes 0).
    explicit ZelGroupChunk(uint32 tag);
    ZelGroupChunk(const ZelGroupChunk&) = delete;
    ZelGroupChunk& operator=(const ZelGroupChunk&) = delete;
    // Deletes every child.
    ~ZelGroupChunk() override;

    // Calls removeAllChildren().
    void reset() override;
    // Sum over the generic children of 16 plus the child's own length. Typed members of derived
    // groups are not counted here.
    int64 getLength() const override;
    // False unless `h`'s tag and type equal the group's; then reads children until the file's
    // level stack leaves this group. Children held before are gone afterwards (a generic child
    // that meets the same kind of chunk at its position is read into, keeping its storage, the
    // others are deleted). False on any child that fails (the children read so far stay) or on
    // nesting deeper than the reader allows.
    bool read(const ZelHeader& h, ZelFile& f) override;
    // The stored header, the typed members, the generic children, then the back-patched length.
    bool write(ZelFile& f) const override;
    // The header line, then typed members and every generic child at `indent` + 1, one per line.
    std::ostream& print(std::ostream& os, int indent) const override;

    // Deletes every child and empties the list.
    virtual void removeAllChildren();

    // Appends `c`; the group takes ownership.
    void addChild(ZelChunk* c);
    uint64 numChildren() const { return children_.size(); }
    // The child at `i` (below numChildren()).
    ZelChunk* getChild(uint64 i);
    const ZelChunk* getChild(uint64 i) const;
    // Index of the first child at or after `start` carrying `tag`; numChildren() when none.
    uint64 findChild(uint32 tag, uint64 start = 0) const;
    // Deletes the child at `i` (below numChildren()) and closes the gap.
    void removeChild(uint64 i);
    // Deletes the children in [first, last) and closes the gap; removeAllChildren() when the
    // range covers every child. An empty range, or `first` above `last`, removes nothing.
    void removeChildren(uint64 first, uint64 last);

  protected:
    // Offers one child header to a derived group. Set `handled` when the child was taken; the
    // result is then the result of reading it. The base takes nothing.
    virtual bool readChild(const ZelHeader& h, ZelFile& f, bool& handled);
    // Writes a derived group's typed members before the generic children. The base writes nothing.
    virtual bool writeChildren(ZelFile& f) const;
    // Prints a derived group's typed members at `indent`. The base prints nothing.
    virtual std::ostream& printChildren(std::ostream& os, int indent) const;

  private:
    void deleteChildren();
    // The loop of read(): reads the payload that `h` announces as children; `count` receives the
    // number of generic children read, which stand first in the list.
    bool readChildren(const ZelHeader& h, ZelFile& f, size_t& count);

    std::vector<ZelChunk*> children_;
};

}  // namespace Zel

#endif
