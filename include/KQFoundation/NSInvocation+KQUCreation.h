#pragma once
// NSInvocation(KQUCreation): ready message objects from a target, a selector
// and object arguments, as static members of kq::Invocation (declared in the
// category block of Foundation/Invocation.h):
//
//   Invocation::invocationWithTarget(target, selector)
//       nullptr when the target or the selector is missing or the target does
//       not respond; otherwise an invocation made from the target's method
//       signature with target and selector set and the arguments unset.
//   Invocation::invocationWithTarget(target, selector, arguments)
//       The same; then, when the first argument is not nil (a non-empty
//       std::any), the arguments are set at indexes 2, 3, ... up to the first
//       nil, and the invocation is told to retain them. The count is not
//       compared with the signature first: more arguments than the selector
//       takes raise kq::InvalidArgumentException, as the caller's error.
//       With no arguments (or a nil first one) nothing is set or retained.
//   Invocation::invocationWithTarget(target, selector, argument)
//       The list form with one argument.
#include "KQFoundation/Foundation/Invocation.h"
