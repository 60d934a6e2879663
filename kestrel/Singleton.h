#ifndef KESTREL_SINGLETON_H
#define KESTREL_SINGLETON_H

namespace kestrel {

// Holder of one lazily created instance of T. The instance is made with T's default constructor on the first
// call of Instance() and is never destroyed, so it stays valid until the process ends.
template <typename T> class Singleton {
public:
    static T& Instance() {
        if (_target == nullptr) {
            _target = new T();
        }
        return *_target;
    }

private:
    Singleton() = delete;

    static T* _target;
};

template <typename T> T* Singleton<T>::_target = nullptr;

} // namespace kestrel

#endif
