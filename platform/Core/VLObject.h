// VLObject: the root of every platform and harness object that can be printed and compared.
//
// Objects are handed around as std::shared_ptr; immutable ones (items, errors) as
// std::shared_ptr<const T>. VLObject carries no state and is safe to use from any thread
// as far as its subclasses are.
#pragma once

#include <memory>
#include <string>

class VLObject {
 public:
  virtual ~VLObject() = default;

  // Returns the text that "%@" prints for this object. The default is "<ClassName: 0x…>".
  virtual std::string description() const;

  // Returns whether `other` stands for the same value. The default is identity.
  virtual bool isEqual(const VLObject& other) const;

  // Returns the object's class name as written in the source (no namespace, no template noise).
  virtual std::string className() const;

  // Returns the "%p" rendering of this object's address, e.g. "0x5611e2b0".
  std::string addressDescription() const;
};

// Returns the description of `object`, or "(null)" for none.
std::string vl_describe(const std::shared_ptr<const VLObject>& object);

// Returns whether two possibly absent objects are equal: both absent, or both present and isEqual.
bool vl_objectsEqual(const std::shared_ptr<const VLObject>& a, const std::shared_ptr<const VLObject>& b);
