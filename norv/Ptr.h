#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

#include "norv/Errors.h"
#include "norv/Export.h"

namespace Norv {

// Process-wide switch: counts are atomic only while it is on, because the notification thread
// is the only user of most objects and plain increments are much cheaper.
extern NORV_EXPORT bool enableThreadSafePointers;

// Base of every counted object. The count starts at zero; Ptr takes the first reference.
class RefCounted {
public:
   RefCounted() = default;
   RefCounted(const RefCounted&) : count_(0) {}
   RefCounted& operator=(const RefCounted&) { return *this; }

   void norvRef() const {
      if (enableThreadSafePointers) {
         std::atomic_ref<uint32_t>(count_).fetch_add(1, std::memory_order_relaxed);
      } else {
         ++count_;
      }
   }
   void norvUnref() const {
      uint32_t left;
      if (enableThreadSafePointers) {
         left = std::atomic_ref<uint32_t>(count_).fetch_sub(1, std::memory_order_acq_rel) - 1;
      } else {
         left = --count_;
      }
      if (left == 0) norvLastReferenceGone();
   }
   uint32_t references() const { return count_; }

protected:
   virtual ~RefCounted() = default;
   // The count reached zero. Entities override this to postpone their end while a
   // notification is being delivered.
   virtual void norvLastReferenceGone() const { delete this; }

private:
   alignas(uint32_t) mutable uint32_t count_ = 0;
};

[[noreturn]] NORV_EXPORT void throwNullValidPtr();

// A strong counted pointer. Ptr<T const> gives read access only, which is how reactors hold
// their inputs.
template <class T>
class Ptr {
public:
   Ptr() = default;
   Ptr(std::nullptr_t) {}
   Ptr(T* p) : p_(p) { acquire(); }
   Ptr(const Ptr& o) : p_(o.p_) { acquire(); }
   Ptr(Ptr&& o) noexcept : p_(o.p_) { o.p_ = nullptr; }
   template <class U>
   requires std::is_convertible_v<U*, T*> Ptr(const Ptr<U>& o) : p_(o.ptr()) { acquire(); }
   ~Ptr() { release(); }

   Ptr& operator=(const Ptr& o) {
      Ptr(o).swap(*this);
      return *this;
   }
   Ptr& operator=(Ptr&& o) noexcept {
      Ptr(std::move(o)).swap(*this);
      return *this;
   }
   void swap(Ptr& o) noexcept { std::swap(p_, o.p_); }

   T* ptr() const { return p_; }
   // Dereference where a value is required: null is a range error, not a crash.
   T* operator->() const {
      if (!p_) throwNullValidPtr();
      return p_;
   }
   T& operator*() const {
      if (!p_) throwNullValidPtr();
      return *p_;
   }
   explicit operator bool() const { return p_ != nullptr; }
   bool operator!() const { return p_ == nullptr; }
   template <class U>
   bool operator==(const Ptr<U>& o) const {
      return p_ == o.ptr();
   }
   bool operator==(std::nullptr_t) const { return p_ == nullptr; }
   size_t hash() const { return std::hash<const void*>()(p_); }

   // A pointer prints as a reference to the object of its type.
   std::string text() const {
      if (!p_) return "null";
      return std::string("Ref('") + std::string(p_->fwkType().name()) + "')";
   }

private:
   void acquire() {
      if (p_) p_->norvRef();
   }
   void release() {
      if (p_) p_->norvUnref();
   }
   T* p_ = nullptr;
};

template <class T, class U>
Ptr<T> ptrCast(const Ptr<U>& p) {
   return Ptr<T>(static_cast<T*>(p.ptr()));
}

} // namespace Norv
