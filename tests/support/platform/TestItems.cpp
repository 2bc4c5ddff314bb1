#include "support/TestItems.h"

VLItemRef vl_testItem(const std::string& identifier, const std::string& filename,
                      const std::function<void(VLItemAttributes&)>& adjust) {
  VLItemAttributes attributes;
  attributes.providerIdentifier = "com.example.provider";
  attributes.itemIdentifier = identifier;
  attributes.parentItemIdentifier = "parent";
  attributes.filename = filename;
  attributes.displayName = filename;
  attributes.typeIdentifier = "public.plain-text";
  if (adjust) adjust(attributes);
  return VLItem::make(std::move(attributes));
}
