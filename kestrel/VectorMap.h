#ifndef KESTREL_VECTORMAP_H
#define KESTREL_VECTORMAP_H

#include <string>
#include <vector>

namespace kestrel {

// A small map from name to a pointer to T, kept as two parallel vectors in insertion order. Lookups compare
// names exactly and search from the last entry to the first, so a later entry hides an earlier one of the
// same name. The values are not owned.
template <typename T> class VectorMap {
public:
    VectorMap() = default;
    virtual ~VectorMap() = default;

    int size() const { return static_cast<int>(names.size()); }

    // The position of the last entry with that name, or -1.
    int indexOf(const std::string& name) const {
        for (size_t i = names.size(); i > 0; --i) {
            if (names[i - 1] == name) {
                return static_cast<int>(i - 1);
            }
        }
        return -1;
    }

    bool contains(const std::string& name) const { return indexOf(name) >= 0; }

    // The value of the last entry with that name, or null.
    T* get(const std::string& name) const {
        int index = indexOf(name);
        return index >= 0 ? values[index] : nullptr;
    }

    // Appends an entry, even when the name is present already.
    void add(const std::string& name, T* value) {
        names.push_back(name);
        values.push_back(value);
    }

    // Entry access by position; the position must lie in 0 to size() - 1.
    const std::string& nameAt(int index) const { return names[index]; }
    T* valueAt(int index) const { return values[index]; }
    void setValueAt(int index, T* value) { values[index] = value; }

private:
    std::vector<std::string> names;
    std::vector<T*> values;
};

} // namespace kestrel

#endif
