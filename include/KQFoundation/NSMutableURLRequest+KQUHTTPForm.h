#pragma once
// NSMutableURLRequest(KQUHTTPForm): attaching a form to a request, as members
// of kq::MutableURLRequest.
//
// void attachHTTPForm(const KQUHTTPForm& form);
//   Builds the body once (multipart when form.isMultipart(), else single
//   part), sets "Content-Length" to its length in bytes (decimal) and, for a
//   multipart body, "Content-Type" to "multipart/form-data; boundary=B". A
//   single-part body leaves any Content-Type the request has. The body is then
//   set; method and URL stay as the caller left them.
#include "KQFoundation/KQUHTTPForm.h"
#include "KQFoundation/System/URLRequest.h"
