// ZelView: a read-only view of values that someone else owns.
#ifndef ZEL_VIEW_H
#define ZEL_VIEW_H

#include <array>
#include <cstddef>
#include <vector>

namespace Zel {

// A pointer and a count, made from a std::vector, a std::array, a C array or an explicit pointer
// and count. It does not own the values: they must outlive the call that takes
// the view (every libzel call that takes one copies what it keeps before returning).
template <class T>
class ZelView {
  public:
    ZelView() = default;
    ZelView(const T* data, size_t size) : data_(data), size_(size) {}
    ZelView(const std::vector<T>& v) : data_(v.data()), size_(v.size()) {}  // NOLINT: implicit
    template <size_t N>
    ZelView(const std::array<T, N>& a) : data_(a.data()), size_(N) {}  // NOLINT: implicit
    template <size_t N>
    ZelView(const T (&a)[N]) : data_(a), size_(N) {}  // NOLINT: implicit

    const T* data() const { return data_; }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const T* begin() const { return data_; }
    const T* end() const { return data_ + size_; }
    const T& operator[](size_t i) const { return data_[i]; }

  private:
    const T* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace Zel

#endif
