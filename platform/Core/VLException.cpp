#include "Core/VLException.h"

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <typeinfo>

std::string vl_describeCurrentException() {
  try {
    throw;
  } catch (const VLException& exception) {
    return exception.description();
  } catch (const std::exception& exception) {
    int status = 0;
    char* demangled = abi::__cxa_demangle(typeid(exception).name(), nullptr, nullptr, &status);
    std::string type = status == 0 && demangled ? demangled : typeid(exception).name();
    std::free(demangled);
    std::string what = exception.what();
    return what == type ? type : type + ": " + what;
  } catch (...) {
    return "an exception of unknown kind";
  }
}
