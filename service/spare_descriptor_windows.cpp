#include "service/spare_descriptor.h"

namespace service {

void spare_descriptor::take() {}

void spare_descriptor::release() {}

} // namespace service
