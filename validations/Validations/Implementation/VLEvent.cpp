#include "Validations/VLEvent.h"

#include "Core/VLFormat.h"

const std::string& VLEventInsert = *new std::string("insert");
const std::string& VLEventMove = *new std::string("move");
const std::string& VLEventDelete = *new std::string("delete");
const std::string& VLEventUpdate = *new std::string("update");
const std::string& VLEventReload = *new std::string("reload");

VLEventRef VLEvent::make(std::string type, VLItemRef item) {
  return VLEventRef(new VLEvent(std::move(type), std::move(item)));
}

std::string VLEvent::description() const { return VLFormat("<%@: %@, %@>", className(), addressDescription(), type_); }
