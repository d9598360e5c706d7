// The unit CMNImpUtils: access to Java objects, addresses and numbers, identifier keys, report texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <jni.h>

extern "C" {

// --- Java fields -----------------------------------------------------------------------------------------------------
//
// Every helper looks the member `name` up on the class of `obj`, afresh each time, with the descriptor that belongs to
// the helper. Neither `obj` nor `name` may be null. A member that is missing or of another type leaves the JNI look-up
// exception pending and the access is made with a null identifier: callers pass names that their Java classes have.

void SetJavaIntField(JNIEnv *env, jobject obj, const char *name, jint value);
void SetJavaLongField(JNIEnv *env, jobject obj, const char *name, jlong value);
void SetJavaCharField(JNIEnv *env, jobject obj, const char *name, int32_t value); // low 16 bits
void SetJavaByteField(JNIEnv *env, jobject obj, const char *name, int32_t value); // low 8 bits, signed
void SetJavaStringField(JNIEnv *env, jobject obj, const char *name, const char *text);
// Dotted text of an address in network byte order.
void SetJavaStringFieldToAddr(JNIEnv *env, jobject obj, const char *name, uint32_t address);

// The value is stored through the pointer, and returned where a result is declared. A string is a local reference (null
// for a null field) that the caller deletes.
jint GetJavaIntField(JNIEnv *env, jobject obj, const char *name, jint *value);
void GetJavaLongField(JNIEnv *env, jobject obj, const char *name, jlong *value);
jchar GetJavaCharField(JNIEnv *env, jobject obj, const char *name, jchar *value);
void GetJavaByteField(JNIEnv *env, jobject obj, const char *name, jbyte *value);
jstring GetJavaStringField(JNIEnv *env, jobject obj, const char *name, jstring *value);

// Copy `count` elements from element `start` of an array field to or from `values`. A region outside the array leaves
// the array-bounds exception pending and copies nothing; a null array likewise, with a NullPointerException. Setting
// returns 0, also for a missing field, in which case it touches nothing; reading has no such guard, on purpose.
int32_t SetJavaIntArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, const jint *values);
int32_t SetJavaByteArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, const jbyte *values);
void GetJavaIntArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, jint *values);
void GetJavaByteArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, jbyte *values);

// --- Java methods ----------------------------------------------------------------------------------------------------
//
// Return -1 when the class has no such method (the look-up exception is pending, results are untouched), else 0. An
// exception that the method throws stays pending and is the caller's to look for.

int32_t GetIntFromJavaMethod(JNIEnv *env, jobject obj, const char *name, jint *value);
int32_t SetIntJavaMethod(JNIEnv *env, jobject obj, const char *name, jint value);
int32_t GetIntFromJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, jint index, jint *value);
// Always -1: its descriptor names no method, on purpose.
int32_t SetIntJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, jint index, jint value);
int32_t GetStringFromJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, jint index, jstring *value);
int32_t GetObjectFromJavaMethod(JNIEnv *env, jobject obj, const char *name, const char *descriptor, jobject *value);
int32_t GetObjectFromJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, const char *descriptor, jint index,
                                     jobject *value);

// Appends `string` to a java.lang.StringBuffer; returns what its append returned, as a local reference, or null with
// NoSuchMethodError pending for an object of another class.
jobject AppendJavaStringBuffer(JNIEnv *env, jobject buffer, jstring string);

// --- Addresses and numbers -------------------------------------------------------------------------------------------

// 1 if the text has the syntax of a numeric IPv4 address (one to four parts, decimal, octal or hexadecimal), else 0.
int32_t isinet_addr(const char *text);

// Turns a numeric address or a host name into an address in network byte order. Returns 0, or 1 with errno EINVAL.
int32_t ip_stol(const char *text, uint32_t *address);

// ip_stol on a String field. Returns 0; -21 when the text is neither an address nor a host name that resolves. A null
// string also returns 0, and stores nothing.
int32_t JStringFieldToAddr(JNIEnv *env, jobject obj, const char *name, uint32_t *address);

// Writes the dotted text of an address in network byte order; `text` holds at least 16 bytes. Returns its length.
int32_t getAddress(uint32_t address, char *text);

// The value of a text of decimal digits (0 for the empty text), or -1 when it holds anything else or is more than an
// int holds.
int32_t get_number(const char *text);

// The value of one hexadecimal digit; 0 for any other character.
int32_t hexCharToInt(const char *character);

// The text read as hexadecimal, wrapping at 32 bits; other characters count as zero digits.
uint32_t hexStringToInt(const char *text);

// Splits a text at one delimiter character, in place. `text` is null on every call but the first; `save` keeps the
// place. Returns the next token, or null when there is none.
char *CMN_szStrtok(char *text, char delimiter, char **save);

// --- Identifier keys -------------------------------------------------------------------------------------------------

// Stores the 32-bit key of an identifier, in host byte order; the text is upper-cased in place.
void makeHashResult(char *text, uint32_t *key);

// The byte rotated right by `count` bits for counts from 0 to 8, and 0 for 9 to 63; repeats every 64.
uint8_t bitrotate(uint8_t value, uint32_t count);

// The key of a String field. Returns the characters it used, already released: only null, which means that there were
// none and nothing was stored, tells the caller anything.
const char *JStringFieldToHash(JNIEnv *env, jobject obj, const char *name, uint32_t *key);

// Builds prv_ausCRCTable. Returns 0. A second run undoes the first, and no key depends on the table.
int32_t initCRCTable();

extern uint16_t prv_ausCRCTable[256];
extern int32_t bCRCTableInited;
// Whether cluster identifiers are addresses, as Java said last. Kept only: keys are always made from the text.
extern int32_t iClusterIdKeyIsIp;

// --- Report texts ----------------------------------------------------------------------------------------------------

// Appends to a heap text of `*size` bytes, which grows when it must. Returns 0, or -1 when it cannot grow: the text is
// then as it was, and `*size` already the size that was wanted.
int32_t appendbuffer(char **text, const char *addition, std::size_t *size);

// Splits a list at one separator, in place, into a heap array of tokens that the caller frees. Callers pass depth 0.
// Returns the number of tokens; -1 when there is none or, on purpose, when the list ends in a separator; -28 when the
// array cannot be allocated.
int32_t filterlist(char *list, char ***tokens, char separator, int32_t depth);
}

namespace rk {

// A method of an object's class; null, with the look-up's exception pending, when it has none.
jmethodID methodOf(JNIEnv *env, jobject obj, const char *name, const char *descriptor);

// The modified UTF-8 characters of a string, or null for a null string or when memory is short.
const char *utfChars(JNIEnv *env, jstring string);

// A local reference to the string of a String field, or null.
jstring stringFromJava(JNIEnv *env, jobject obj, const char *name);

// The key of characters that utfChars gave: a copy of the caller's own, which is upper-cased.
uint32_t keyOfCharacters(const char *text);

// True when `object` is not null; otherwise a NullPointerException that names it is left pending.
bool requireObject(JNIEnv *env, jobject object, const char *name);

// A report that is built by appending: the text of appendbuffer with its length kept beside, so that a long report is
// built in linear time.
struct ReportText {
    char *text;
    std::size_t size;
    std::size_t length;
};

// Starts an empty report of `size` bytes; false when memory is short. closeReport or reportToJava ends it.
bool openReport(ReportText &report, std::size_t size);
void closeReport(ReportText &report);

// As appendbuffer; a text that cannot grow leaves the report as it was, for the next one to try again.
int32_t appendText(ReportText &report, const char *addition);

// Formats one line of at most 255 characters, and appends it; a longer line is cut.
[[gnu::format(printf, 2, 3)]] int32_t appendLine(ReportText &report, const char *format, ...);

// The report as a Java string (null with an exception pending when memory is short); the report is closed.
jstring reportToJava(JNIEnv *env, ReportText &report);

// Appends the report to a java.lang.StringBuffer; the report is closed.
void appendReportToJava(JNIEnv *env, jobject buffer, ReportText &report);

} // namespace rk
