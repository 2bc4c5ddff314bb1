#include "Validations/VLEvent.h"

#include "Core/VLFormat.h"

const std::string VLEventInsert = "insert";
const std::string VLEventMove = "move";
const std::string VLEventDelete = "delete";
const std::string VLEventUpdate = "update";
const std::string VLEventReload = "reload";

VLEventRef VLEvent::make(std::string type, VLItemRef item) {
  return VLEventRef(new VLEvent(std::move(type), std::move(item)));
}

std::string VLEvent::description() const { return VLFormat("<%@: %@, %@>", className(), addressDescription(), type_); }
