#include "KQFoundation/NSMutableURLRequest+KQUHTTPForm.h"

namespace kq {

void MutableURLRequest::attachHTTPForm(const KQUHTTPForm& form) {
    // Decided once: a file URL read twice could change between the reads.
    const bool multipart = form.isMultipart();
    Data body = multipart ? form.multipartData() : form.singlepartData();
    setValue(std::to_string(body.size()), "Content-Length");
    if (multipart) setValue("multipart/form-data; boundary=" + form.boundary(), "Content-Type");
    setHTTPBody(std::move(body));
}

}  // namespace kq
