#pragma once

#include <string>
#include <string_view>

#include "norv/Text.h"

namespace Norv {

template <class T>
struct Field {
   const char* name;
   const T& value;
};

template <class T>
Field<T> field(const char* name, const T& value) {
   return Field<T>{name, value};
}

// The textual form of a value type:
//   Value('<qualified type>', ** {'<field>': <text>, ...})
// with the fields in declaration order. Each value type feeds its field list to this one
// printer from its text().
template <class... T>
std::string valueText(std::string_view type, const Field<T>&... fields) {
   std::string out = "Value('";
   out += type;
   out += "', ** {";
   bool first = true;
   auto one = [&](const auto& f) {
      if (!first) out += ", ";
      first = false;
      out += '\'';
      out += f.name;
      out += "': ";
      out += text(f.value);
   };
   (one(fields), ...);
   out += "})";
   return out;
}

} // namespace Norv

// A field of a value class with the framework's accessor and mutator, `name()` and `nameIs(v)`.
// Opens a private section: put the fields last.
#define NORV_VALUE_FIELD(T, name)                                                              \
public:                                                                                        \
   const T& name() const {                                                                     \
      return name##_;                                                                          \
   }                                                                                           \
   void name##Is(const T& v) {                                                                 \
      name##_ = v;                                                                             \
   }                                                                                           \
                                                                                               \
private:                                                                                       \
   T name##_{};
