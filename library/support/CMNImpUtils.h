// The unit CMNImpUtils: access to Java objects, addresses and numbers, identifier keys, report texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <jni.h>

extern "C" {

// --- Java fields -----------------------------------------------------------------------------------------------------
//
// Every helper looks up the member `name` on the class of `obj` in each call, with the descriptor that belongs to the
// helper. Neither `obj` nor `name` may be null. When the member is missing or of another type, the exception of the
// look-up is left pending, and the access is made with a null identifier: callers pass names that their Java classes
// have.

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
// returns 0, and touches nothing when the field is missing; reading has no such guard, as Java servers are used to.
int32_t SetJavaIntArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, const jint *values);
int32_t SetJavaByteArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, const jbyte *values);
void GetJavaIntArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, jint *values);
void GetJavaByteArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, jbyte *values);

// --- Java methods ----------------------------------------------------------------------------------------------------
//
// Return 0, or -1 when the class has no such method; the exception of the look-up is then pending, and results are
// untouched. An exception that the method throws stays pending, and the caller has to look for it.

int32_t GetIntFromJavaMethod(JNIEnv *env, jobject obj, const char *name, jint *value);
int32_t SetIntJavaMethod(JNIEnv *env, jobject obj, const char *name, jint value);
int32_t GetIntFromJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, jint index, jint *value);
// Always -1: no method has its descriptor.
int32_t SetIntJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, jint index, jint value);
int32_t GetStringFromJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, jint index, jstring *value);
int32_t GetObjectFromJavaMethod(JNIEnv *env, jobject obj, const char *name, const char *descriptor, jobject *value);
int32_t GetObjectFromJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, const char *descriptor, jint index,
                                     jobject *value);

// Appends `string` to a java.lang.StringBuffer. Returns what its append returned, as a local reference, or null, with
// NoSuchMethodError pending, for an object of another class.
jobject AppendJavaStringBuffer(JNIEnv *env, jobject buffer, jstring string);

// --- Addresses and numbers -------------------------------------------------------------------------------------------

// Returns 1 when the text has the syntax of a numeric IPv4 address (one to four parts, decimal, octal or hexadecimal),
// otherwise 0.
int32_t isinet_addr(const char *text);

// Stores the address of a numeric text or a host name, in network byte order. Returns 0, or 1 with errno EINVAL.
int32_t ip_stol(const char *text, uint32_t *address);

// The same for the text of a String field. Returns 0, or -21 when the text is neither an address nor a host name that
// resolves. A null string also gives 0, and nothing is stored.
int32_t JStringFieldToAddr(JNIEnv *env, jobject obj, const char *name, uint32_t *address);

// Writes the dotted text of an address in network byte order; `text` holds at least 16 bytes. Returns its length.
int32_t getAddress(uint32_t address, char *text);

// Returns the value of a text of decimal digits (0 for the empty text), or -1 when the text has other characters or its
// value does not fit an int.
int32_t get_number(const char *text);

// Returns the value of one hexadecimal digit, and 0 for any other character.
int32_t hexCharToInt(const char *character);

// Returns the value of a hexadecimal text, which wraps at 32 bits. Other characters count as the digit 0.
uint32_t hexStringToInt(const char *text);

// Splits a text at one delimiter character, in place. `text` is null on every call but the first; `save` keeps the
// place. Returns the next token, or null when there is none.
char *CMN_szStrtok(char *text, char delimiter, char **save);

// --- Identifier keys -------------------------------------------------------------------------------------------------

// Stores the 32-bit key of an identifier, in host byte order. Upper-cases the text in place, from 'a' to 'z' only.
void makeHashResult(char *text, uint32_t *key);

// Returns the byte rotated right by `count` bits for counts from 0 to 8, and 0 for 9 to 63. Larger counts repeat this.
uint8_t bitrotate(uint8_t value, uint32_t count);

// Stores the key of the text of a String field. Returns null, and stores nothing, when there is no text; otherwise a
// pointer to characters that are released already, so that it only tells that there was a text.
const char *JStringFieldToHash(JNIEnv *env, jobject obj, const char *name, uint32_t *key);

// Builds prv_ausCRCTable, and returns 0. A second run undoes the first. No key depends on the table.
int32_t initCRCTable();

extern uint16_t prv_ausCRCTable[256];
extern int32_t bCRCTableInited;
// Whether cluster identifiers are addresses, as Java said last. Nothing reads it: keys are always made from the text.
extern int32_t iClusterIdKeyIsIp;

// --- Report texts ----------------------------------------------------------------------------------------------------

// Appends to a heap text of `*size` bytes, which grows when it must. Returns 0, or -1 when it cannot grow: the text
// stays as it was, but `*size` is then the size that it would have had.
int32_t appendbuffer(char **text, const char *addition, std::size_t *size);

// Splits a list at one separator, in place, into a heap array of tokens that the caller frees. Callers pass depth 0.
// Returns the number of tokens; -1 when there is none, or when the list ends in a separator; -28 when the array cannot
// be allocated.
int32_t filterlist(char *list, char ***tokens, char separator, int32_t depth);
}

namespace rk {

// Returns a method of an object's class, or null, with the exception of the look-up pending, when the class has none.
jmethodID methodOf(JNIEnv *env, jobject obj, const char *name, const char *descriptor);

// Returns the characters of a string in modified UTF-8, or null for a null string or when memory is short.
const char *utfChars(JNIEnv *env, jstring string);

// Returns a local reference to the string of a String field, or null.
jstring stringFromJava(JNIEnv *env, jobject obj, const char *name);

// Returns the key of characters that utfChars gave. They are the caller's own copy, and are upper-cased.
uint32_t keyOfCharacters(const char *text);

// Returns whether `object` is not null. If it is null, a NullPointerException with this name is left pending.
bool requireObject(JNIEnv *env, jobject object, const char *name);

// A report that is built by appending. Its length is kept, so that a long report takes linear time.
struct ReportText {
    char *text;
    std::size_t size;
    std::size_t length;
};

// Starts an empty report of `size` bytes. Returns false when memory is short. closeReport and reportToJava end it.
bool openReport(ReportText &report, std::size_t size);
void closeReport(ReportText &report);

// Appends a text. Returns 0, or -1 when the report cannot grow: it stays as it was, and the next text may fit.
int32_t appendText(ReportText &report, const char *addition);

// Formats a line of at most 255 characters, and appends it. A longer line is cut. Returns what appendText returns.
[[gnu::format(printf, 2, 3)]] int32_t appendLine(ReportText &report, const char *format, ...);

// Makes a Java string of the report, and closes the report. Returns null, with an exception pending, when memory is
// short.
jstring reportToJava(JNIEnv *env, ReportText &report);

// Appends the report to a java.lang.StringBuffer, and closes the report.
void appendReportToJava(JNIEnv *env, jobject buffer, ReportText &report);

} // namespace rk
