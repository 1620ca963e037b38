// The table of records (or other objects) that a language binding hands out by integer handle.
#ifndef ANADATA_BINDINGS_HANDLE_TABLE_H
#define ANADATA_BINDINGS_HANDLE_TABLE_H

#include <map>
#include <mutex>

#include "clsException.h"

namespace qx {

// Handles are 0, 1, 2, ... in order of creation and are never reused after release, so a stale
// handle kept by a caller can never reach a newer object. The table itself may be used from many
// threads at once (a map's elements stay where they are while others come and go); each object
// belongs to one thread at a time, its release included.
template <typename Object>
class HandleTable {
public:
    // Stores a copy of the object under the next handle and returns that handle.
    int add(const Object& object) {
        std::lock_guard<std::mutex> lock(mutex);
        const int handle = objNo;
        // Wraps instead of overflowing after 2^31 creations; nothing checks that case.
        objNo = static_cast<int>(static_cast<unsigned>(objNo) + 1u);
        objects[handle] = object;
        return handle;
    }

    // The stored object itself (not a copy); throws NotAllocated for an unknown handle.
    Object& get(int handle) {
        std::lock_guard<std::mutex> lock(mutex);
        auto found = objects.find(handle);
        if (found == objects.end()) throw NotAllocated();
        return found->second;
    }

    // Destroys the object; an unknown handle is ignored.
    void release(int handle) {
        std::lock_guard<std::mutex> lock(mutex);
        objects.erase(handle);
    }

private:
    std::mutex mutex;
    std::map<int, Object> objects;
    int objNo = 0;  // the next handle to hand out
};

}  // namespace qx

#endif
