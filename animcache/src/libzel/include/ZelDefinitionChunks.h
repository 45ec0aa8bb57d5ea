// Object and attribute definitions: "DOBJ" with its attribute definition "DATR", which holds the
// static names ("SATR"), the static values ("ATRS") and the animated names ("AATR").
//
// Attributes of an object are numbered animated first (0 to A-1, in "AATR" order), then static
// (A to A+S-1, in "SATR" order); static attribute k has its value in child k of "ATRS". The
// index-taking operations of ZelDATRChunk print "DATR attribute index out of bounds" on standard
// output and throw the bool false for an index outside [0, A+S).
#ifndef ZEL_DEFINITION_CHUNKS_H
#define ZEL_DEFINITION_CHUNKS_H

#include <memory>
#include <string>
#include <vector>

#include "ZelChunks.h"

namespace Zel {

class ZelDATRChunk;

// The names and type strings of a set of attributes, as a "NAME" and a "TYPE" list of strings:
// the layout that "SATR" and "AATR" share. Exists only as one of those two.
class ZEL_API ZelAttrNamesChunk : public ZelGroupChunk {
  public:
    ~ZelAttrNamesChunk() override;

    // Empties names, types and generic children.
    void reset() override;
    // 0 without names, else the two child headers plus every name and type with its NUL.
    int64 getLength() const override;
    // Removes the names and types in [first, last) (clamped to the lists).
    virtual void remove(uint64 first, uint64 last);

    const std::vector<std::string>& names() const { return names_; }
    std::vector<std::string>& names() { return names_; }
    const std::vector<std::string>& types() const { return types_; }
    std::vector<std::string>& types() { return types_; }

  protected:
    // An empty group carrying `tag`.
    explicit ZelAttrNamesChunk(uint32 tag);
    // Takes "NAME" and "TYPE" string lists into the names and types.
    bool readChild(const ZelHeader& h, ZelFile& f, bool& handled) override;
    // "NAME" when there are names, then "TYPE" (sized to the names) when there are types.
    bool writeChildren(ZelFile& f) const override;
    // A "names = " line when there are names, then a "types = " line when there are types.
    std::ostream& printChildren(std::ostream& os, int indent) const override;

  private:
    std::vector<std::string> names_;
    std::vector<std::string> types_;
};

// Static attribute names and type strings ("SATR"). Exists only inside a ZelDATRChunk.
class ZEL_API ZelSATRChunk : public ZelAttrNamesChunk {
  public:
    ~ZelSATRChunk() override;

  protected:
    ZelSATRChunk();

  private:
    friend class ZelDATRChunk;
};

// Animated attribute names and type strings ("AATR"). Exists only inside a ZelDATRChunk.
class ZEL_API ZelAATRChunk : public ZelAttrNamesChunk {
  public:
    ~ZelAATRChunk() override;

  protected:
    ZelAATRChunk();

  private:
    friend class ZelDATRChunk;
};

// Static attribute values ("ATRS"): one "ATTR" leaf per static attribute, as generic children.
// Exists only inside a ZelDATRChunk.
class ZEL_API ZelATRSChunk : public ZelGroupChunk {
  public:
    ~ZelATRSChunk() override;

  protected:
    ZelATRSChunk();

  private:
    friend class ZelDATRChunk;
};

// The attribute definition of one object ("DATR").
class ZEL_API ZelDATRChunk : public ZelGroupChunk {
  public:
    ZelDATRChunk();
    ~ZelDATRChunk() override;

    // Empties the three member groups and the generic children.
    void reset() override;
    // Estimated payload: "AATR" with its header when it has names, plus "SATR", "ATRS" and two
    // headers when "SATR" has names. Generic children are not counted.
    int64 getLength() const override;

    // A + S, A and S.
    int getNumAttrs() const;
    int getNumAnimatedAttrs() const;
    int getNumStaticAttrs() const;

    // Adds an attribute; the result is its index, or -1 (nothing added) for `dataType` 1, or for a
    // static attribute whose `dataType` is not 2 to 6. A static one gets an empty "ATTR" leaf.
    int addAttr(const bool& animated, const std::string& name, const std::string& type,
                uint8 dataType, uint8 compound, uint8 dimension);
    // Appends a name and type to the animated attributes.
    void addAnimatedAttribute(const std::string& name, const std::string& type);
    // The index of the first attribute named exactly `name` (animated ones first), or -1.
    int findAttr(const std::string& name) const;

    // The operations below take an attribute index in [0, A+S); any other index prints the
    // out-of-bounds line and throws false.
    // Whether attribute `i` is animated (i below A).
    bool isAnimated(int i) const;
    // `i` for an animated attribute, -1 for a static one.
    int getAnimatedDataIndex(int i) const;
    // The value leaf of static attribute `i`; null for an animated one or a missing value.
    ZelChunk* getStaticData(int i) const;
    const std::string& getAttrName(int i) const;
    // The type string; empty when the definition lacks one for `i`.
    const std::string& getAttrType(int i) const;
    // Replace the name or type string of attribute `i`; true.
    bool setAttrName(int i, const std::string& s);
    bool setAttrType(int i, const std::string& s);
    // Removes `count` static attributes from attribute index `first`, values included. False,
    // removing nothing, when `first` is below A or the range passes the last static attribute.
    bool removeStaticAttrs(int first, int count);
    // Removes count - 1 animated attributes from `first` (one fewer than removeStaticAttrs takes
    // for the same count); `first`, or -1 when `first` is not animated.
    int removeAnimatedAttrs(int first, int count);
    // Adds the static attributes of `from` whose names none of this definition's attributes
    // carry, with copies of their values. Values of an unknown element type are reported on
    // standard error and left out.
    void mergeStaticAttributes(const ZelDATRChunk* from);

    ZelSATRChunk& getSATR() { return satr_; }
    const ZelSATRChunk& getSATR() const { return satr_; }
    ZelAATRChunk& getAATR() { return aatr_; }
    const ZelAATRChunk& getAATR() const { return aatr_; }
    ZelATRSChunk& getATRS() { return atrs_; }
    const ZelATRSChunk& getATRS() const { return atrs_; }

  protected:
    // Takes "SATR", "AATR" and "ATRS" groups into the members.
    bool readChild(const ZelHeader& h, ZelFile& f, bool& handled) override;
    // "SATR" and "ATRS" when their counts agree (else a warning on standard output), then "AATR".
    bool writeChildren(ZelFile& f) const override;
    std::ostream& printChildren(std::ostream& os, int indent) const override;

  private:
    ZelSATRChunk satr_;
    ZelAATRChunk aatr_;
    ZelATRSChunk atrs_;
};

// The definition of one object ("DOBJ"): its name and an optional, owned attribute definition.
class ZEL_API ZelDOBJChunk : public ZelGroupChunk {
  public:
    ZelDOBJChunk();
    // A null `name` gives an empty name.
    explicit ZelDOBJChunk(const char* name);
    // Deletes the attribute definition and the generic children.
    ~ZelDOBJChunk() override;

    // Empties the name, deletes the attribute definition and the generic children.
    void reset() override;
    // Generic children, the name with header and NUL, plus the attribute definition with header.
    int64 getLength() const override;
    // Deletes the attribute definition, then the generic children.
    void removeAllChildren() override;

    const std::string& getName() const { return name_; }
    void setName(const std::string& name) { name_ = name; }

    // The attribute definition, null when absent.
    ZelDATRChunk* getDATR() { return datr_.get(); }
    const ZelDATRChunk* getDATR() const { return datr_.get(); }
    // The attribute definition, made when absent.
    ZelDATRChunk* addDATR();
    // Deletes the attribute definition.
    void removeDATR();

    // Forward to the attribute definition (addAttr makes one when absent). Without one the object
    // has no attributes: findAttr gives -1 and an index is out of bounds (printed and thrown).
    int addAttr(const bool& animated, const std::string& name, const std::string& type,
                uint8 dataType, uint8 compound, uint8 dimension);
    int findAttr(const std::string& name) const;
    int getNumAttrs() const;
    bool isAttrAnimated(int i) const;
    std::string getAttrName(int i) const;
    std::string getAttrType(int i) const;
    bool setAttrName(int i, const std::string& s);
    bool setAttrType(int i, const std::string& s);

  protected:
    // Takes "NAME" (a string) and "DATR" (a group) into the members.
    bool readChild(const ZelHeader& h, ZelFile& f, bool& handled) override;
    // "NAME" when the name is not empty, then the attribute definition.
    bool writeChildren(ZelFile& f) const override;
    std::ostream& printChildren(std::ostream& os, int indent) const override;

  private:
    std::string name_;
    std::unique_ptr<ZelDATRChunk> datr_;
};

}  // namespace Zel

#endif
