#pragma once
// NSURL(KQFoundation): building and reading URL query strings, as members of
// kq::URL (declared in its category block in URL.h):
//
//   URLWithString(base, params)   base + "?" + "k=v&k2=v2": keys and the values'
//                                 descriptions percent-escaped as UTF-8, also
//                                 ";/?:@&=+$,". The "?" is added even when the
//                                 base already has a query (so it can appear
//                                 twice). An empty dictionary gives the base as
//                                 it is. nullopt when the text is no URL.
//   URLWithString(base, params, anchor)
//                                 The same (or the base, for no parameters),
//                                 then "#" + anchor.
//   URLWithString(base, {{value, key}, ...})
//                                 Pairs read as value then key; a pair missing
//                                 either is dropped, a later key replaces an
//                                 earlier one. Then as URLWithString(base, params).
//   URLByAppendingQuery(query)    Adds one query item per entry to the URL's
//                                 own query ("&" between them), keeping the
//                                 fragment. Names are escaped where they would
//                                 not be legal in a query or would read as "&"
//                                 or "="; values likewise, except that "=" stays.
//                                 "+" is left as it is. An empty dictionary
//                                 gives the URL unchanged.
//   queryParameters()             The query split at "&", each part at "=":
//                                 the first piece is the key, the value is the
//                                 last piece when there are exactly two, else ""
//                                 (so "b" and "c=2=3" both give ""). Both are
//                                 percent-decoded ("+" stays "+"); a later key
//                                 replaces an earlier one. A URL without a query
//                                 gives an empty dictionary. A malformed escape
//                                 in a key or value throws
//                                 kq::InvalidArgumentException.
#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"
