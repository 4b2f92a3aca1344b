// TVnFormURLEncodedJSONReader: form bodies as JSON events.
#include "vnxml/json/uVnJSON.h"

namespace vn {

void TVnFormURLEncodedJSONReader::InternalParse() {
  throw ENotSupportedException(u"Reading form-URL-encoded bodies is not written yet");
}

}  // namespace vn
