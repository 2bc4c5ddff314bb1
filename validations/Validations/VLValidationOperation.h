// VLValidationOperation: one operation that a suite class lists for discovery: its full
// selector string ("validateTrashUntrash:variant:") and the member function that runs it.
//
// Built from a member pointer, it keeps what discovery reads from the member's type (how
// many arguments it takes, whether it returns something, whether its first argument takes
// the validator, whether its second takes a variant value) and a type-erased way to call it.
// An object argument is anything a std::shared_ptr<VLValidator> converts to; a variant value
// is a VLValue, or a std::string or std::shared_ptr<const T> read out of one (a value of
// another kind throws VLException when the case runs). A result that converts to VLValue is
// the operation's value; a member whose result cannot carry a value (neither void nor
// convertible to VLValue) does not compile, so a variant's value is never lost.
//
// Lifetime and threads: a value copied into its suite class's record at registration,
// immutable afterwards and safe to share. invoke() runs the suite's code on the calling thread.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>

#include "Core/VLException.h"
#include "Core/VLValue.h"
#include "Validations/VLValidator.h"

class VLValidationCase;

namespace vl_detail {

template <class Member>
struct VLMemberTraits;
template <class R, class C, class... A>
struct VLMemberTraits<R (C::*)(A...)> {
  using Result = R;
  using Class = C;
  using Arguments = std::tuple<A...>;
};
template <class R, class C, class... A>
struct VLMemberTraits<R (C::*)(A...) const> : VLMemberTraits<R (C::*)(A...)> {};
template <class R, class C, class... A>
struct VLMemberTraits<R (C::*)(A...) noexcept> : VLMemberTraits<R (C::*)(A...)> {};
template <class R, class C, class... A>
struct VLMemberTraits<R (C::*)(A...) const noexcept> : VLMemberTraits<R (C::*)(A...)> {};

template <class T>
struct VLSharedConstObject : std::false_type {};
template <class T>
requires std::derived_from<T, VLObject>
struct VLSharedConstObject<std::shared_ptr<const T>> : std::true_type {
  using Element = T;
};

template <class A>
constexpr bool takesValidator = std::is_convertible_v<std::shared_ptr<VLValidator>&, A>;
template <class A>
constexpr bool takesVariantString = std::is_same_v<std::remove_cvref_t<A>, std::string>;
template <class A>
constexpr bool takesVariantValue =
    std::is_convertible_v<VLValue&, A> || VLSharedConstObject<std::remove_cvref_t<A>>::value || takesVariantString<A>;

template <class A>
decltype(auto) variantArgument(VLValue& value) {
  if constexpr (std::is_convertible_v<VLValue&, A>) {
    return (value);
  } else if constexpr (takesVariantString<A>) {
    if (!value.string()) throw VLException("the variant value " + value.description() + " is not a string");
    return std::string(*value.string());
  } else {
    return value.objectAs<typename VLSharedConstObject<std::remove_cvref_t<A>>::Element>();
  }
}

}  // namespace vl_detail

class VLValidationOperation {
 public:
  using Invoker = std::function<VLValue(VLValidationCase& receiver, const std::shared_ptr<VLValidator>& validator,
                                        const VLValue& variantValue)>;

  // Describes `member` under the name `selector`. The member must belong to the suite class
  // (or a base of it); its type decides the arity, the result and what can be passed.
  template <class Member>
  requires std::is_member_function_pointer_v<Member> VLValidationOperation(std::string selector, Member member);

  // Returns the full selector string, e.g. "variantTrashingFolder:".
  const std::string& selector() const { return selector_; }
  // Returns how many arguments the member takes.
  size_t argumentCount() const { return argumentCount_; }
  // Returns whether the member has a result (anything but void).
  bool returnsValue() const { return returnsValue_; }
  // Returns whether the member's first argument takes the validator (false without one).
  bool firstArgumentIsObject() const { return firstArgumentIsObject_; }
  // Returns whether the member's second argument takes a variant value (false without one).
  bool secondArgumentTakesVariantValue() const { return secondArgumentTakesVariantValue_; }

  // Calls the member on `receiver` with as many of (validator, variantValue) as it takes and
  // returns its result as a VLValue. Throws VLException if the member takes more than two
  // arguments or arguments of other kinds; exceptions of the member pass through.
  VLValue invoke(VLValidationCase& receiver, const std::shared_ptr<VLValidator>& validator,
                 const VLValue& variantValue) const;

 private:
  template <class Class, class Result, class Call>
  static VLValue callAndWrap(Call&& call);

  std::string selector_;
  size_t argumentCount_ = 0;
  bool returnsValue_ = false;
  bool firstArgumentIsObject_ = false;
  bool secondArgumentTakesVariantValue_ = false;
  Invoker invoker_;  // empty when the member can't be called with what a case has
};

template <class Class, class Result, class Call>
VLValue VLValidationOperation::callAndWrap(Call&& call) {
  if constexpr (std::is_void_v<Result>) {
    call();
    return VLValue();
  } else {
    return VLValue(call());
  }
}

template <class Member>
requires std::is_member_function_pointer_v<Member> VLValidationOperation::VLValidationOperation(std::string selector,
                                                                                                Member member)
    : selector_(std::move(selector)) {
  using Traits = vl_detail::VLMemberTraits<Member>;
  using Class = typename Traits::Class;
  using Result = typename Traits::Result;
  using Arguments = typename Traits::Arguments;
  static_assert(std::is_base_of_v<VLValidationCase, Class>,
                "a suite lists only member functions of VLValidationCase subclasses");
  static_assert(std::is_void_v<Result> || std::is_convertible_v<Result, VLValue>,
                "a listed operation must return void (a validation) or a value that converts to VLValue (a "
                "variant: VLValue, a std::shared_ptr to a VLObject, a string, a number, an optional of one)");
  constexpr size_t count = std::tuple_size_v<Arguments>;
  argumentCount_ = count;
  returnsValue_ = !std::is_void_v<Result>;

  if constexpr (count == 0) {
    invoker_ = [member](VLValidationCase& receiver, const std::shared_ptr<VLValidator>&, const VLValue&) {
      auto& self = static_cast<Class&>(receiver);
      return callAndWrap<Class, Result>([&]() -> decltype(auto) { return (self.*member)(); });
    };
  } else {
    using First = std::tuple_element_t<0, Arguments>;
    firstArgumentIsObject_ = vl_detail::takesValidator<First>;
    if constexpr (count == 1 && vl_detail::takesValidator<First>) {
      invoker_ = [member](VLValidationCase& receiver, const std::shared_ptr<VLValidator>& validator, const VLValue&) {
        auto& self = static_cast<Class&>(receiver);
        std::shared_ptr<VLValidator> argument = validator;
        return callAndWrap<Class, Result>([&]() -> decltype(auto) { return (self.*member)(argument); });
      };
    } else if constexpr (count == 2) {
      using Second = std::tuple_element_t<1, Arguments>;
      secondArgumentTakesVariantValue_ = vl_detail::takesVariantValue<Second>;
      if constexpr (vl_detail::takesValidator<First> && vl_detail::takesVariantValue<Second>) {
        invoker_ = [member](VLValidationCase& receiver, const std::shared_ptr<VLValidator>& validator,
                            const VLValue& variantValue) {
          auto& self = static_cast<Class&>(receiver);
          std::shared_ptr<VLValidator> argument = validator;
          VLValue value = variantValue;
          return callAndWrap<Class, Result>(
              [&]() -> decltype(auto) { return (self.*member)(argument, vl_detail::variantArgument<Second>(value)); });
        };
      }
    }
  }
}
