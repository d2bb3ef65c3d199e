#pragma once

#include <string>
#include <string_view>

namespace Norv {

// The run-time type descriptor of an entity, reactor or value type. Only its qualified name is
// needed: it is what printing and messages show.
class Type {
public:
   constexpr explicit Type(std::string_view name) : name_(name) {}
   constexpr std::string_view name() const { return name_; }

private:
   std::string_view name_;
};

// The name of an entity in the agent's directory of entities.
using Name = std::string;

} // namespace Norv

// Declares the type descriptor of an entity or reactor class.
#define NORV_ENTITY(QualifiedName)                                                             \
   static const ::Norv::Type& norvStaticType() {                                               \
      static constexpr ::Norv::Type t(QualifiedName);                                          \
      return t;                                                                                \
   }                                                                                           \
   const ::Norv::Type& fwkType() const override {                                              \
      return norvStaticType();                                                                 \
   }
