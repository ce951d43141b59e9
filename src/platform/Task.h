#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace quorvex {

/// A move-only callable without arguments, the unit of work of a DispatchQueue.
///
/// A callable of up to `kInlineBytes` lives inside the task, so that handing one video frame from
/// thread to thread allocates nothing; a larger one is kept on the heap.
class Task {
 public:
  static constexpr std::size_t kInlineBytes = 48;

  Task() = default;

  template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, Task>>>
  Task(F&& callable) {  // NOLINT: a lambda is a task wherever one is expected
    using Callable = std::decay_t<F>;
    if constexpr (fitsInline<Callable>()) {
      new (storage) Callable(std::forward<F>(callable));
      operations = &kInline<Callable>;
    } else {
      new (storage) Callable*(new Callable(std::forward<F>(callable)));
      operations = &kHeap<Callable>;
    }
  }

  Task(Task&& other) noexcept { take(other); }
  Task& operator=(Task&& other) noexcept {
    if (this != &other) {
      reset();
      take(other);
    }
    return *this;
  }
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;
  ~Task() { reset(); }

  explicit operator bool() const { return operations != nullptr; }
  void operator()() { operations->invoke(storage); }

  void reset() {
    if (operations) operations->destroy(storage);
    operations = nullptr;
  }

 private:
  struct Operations {
    void (*invoke)(void*);
    void (*relocate)(void* from, void* to) noexcept;
    void (*destroy)(void*) noexcept;
  };

  template <class C>
  static constexpr bool fitsInline() {
    return sizeof(C) <= kInlineBytes && alignof(C) <= alignof(std::max_align_t) &&
           std::is_nothrow_move_constructible_v<C>;
  }

  template <class C>
  static constexpr Operations kInline = {[](void* at) { (*static_cast<C*>(at))(); },
                                         [](void* from, void* to) noexcept {
                                           new (to) C(std::move(*static_cast<C*>(from)));
                                           static_cast<C*>(from)->~C();
                                         },
                                         [](void* at) noexcept { static_cast<C*>(at)->~C(); }};

  template <class C>
  static constexpr Operations kHeap = {
      [](void* at) { (**static_cast<C**>(at))(); },
      [](void* from, void* to) noexcept { new (to) C*(*static_cast<C**>(from)); },
      [](void* at) noexcept { delete *static_cast<C**>(at); }};

  void take(Task& other) noexcept {
    operations = other.operations;
    if (operations) operations->relocate(other.storage, storage);
    other.operations = nullptr;
  }

  alignas(std::max_align_t) std::byte storage[kInlineBytes];
  const Operations* operations = nullptr;
};

}  // namespace quorvex
