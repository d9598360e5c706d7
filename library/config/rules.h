// The routines for both adding and changing a rule.
#pragma once

#include <cstdint>
#include <jni.h>

extern "C" {

// Fills the rule record from a Java rule object and sends it under the code that the caller has put into the header;
// hands the change flags back. Returns 0 or the first of
// - -10 for a port outside 0 to 65535,
// - -51 for a rule name that is missing or longer than 20 characters, -52 for a rule type outside 0 to 9,
// - what getRuleType returns, when Java does not give the type and the executor does not know the rule,
// - -53 and -54 for the begin and end of an address range that does not parse,
// - -99 without a cluster identifier, just before the first command, which asks for the type or sends the rule,
// and in these cases the rule is not sent and no flag handed back; or the status of the executor's reason.
int32_t AddOrSetRule(JNIEnv *env, jobject interface, jobject rule);

// Asks for the record of the rule that the shared block names. The reply fills the block. Returns 0; -5, -12 or -57 for
// an unknown cluster, port or rule; -99 for any other failure.
int32_t getRuleType();
}
