#include "Core/VLObject.h"

#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <typeinfo>

std::string VLObject::description() const { return "<" + className() + ": " + addressDescription() + ">"; }

bool VLObject::isEqual(const VLObject& other) const { return this == &other; }

std::string VLObject::className() const {
  const char* mangled = typeid(*this).name();
  int status = 0;
  char* demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &status);
  std::string name = (status == 0 && demangled) ? demangled : mangled;
  std::free(demangled);
  auto colon = name.rfind("::");
  return colon == std::string::npos ? name : name.substr(colon + 2);
}

std::string VLObject::addressDescription() const {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%p", static_cast<const void*>(this));
  return buffer;
}

std::string vl_describe(const std::shared_ptr<const VLObject>& object) {
  return object ? object->description() : "(null)";
}

bool vl_objectsEqual(const std::shared_ptr<const VLObject>& a, const std::shared_ptr<const VLObject>& b) {
  if (!a || !b) return !a && !b;
  return a == b || a->isEqual(*b);
}
