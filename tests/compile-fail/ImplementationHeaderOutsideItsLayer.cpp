// A program that links validations cannot reach the harness's implementation headers.
// expected error: Validations/Implementation/VLRichTextReader\.h.*(No such file|file not found)
#include "Validations/Implementation/VLRichTextReader.h"
