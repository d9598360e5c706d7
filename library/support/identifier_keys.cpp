// Makes 32-bit keys of identifiers. Executors keep keys that were made earlier, so the arithmetic is fixed bit for bit.
#include "library/support/CMNImpUtils.h"

#include "library/native.h"
#include "library/support/owners.h"

uint16_t prv_ausCRCTable[256];
int32_t bCRCTableInited = 0;
int32_t iClusterIdKeyIsIp = 0;

namespace {

// Shifts whose count is taken modulo 64; counts of 32 and more give 0.
uint32_t shiftLeft(uint32_t value, uint32_t count) {
    count %= 64;
    return count < 32 ? value << count : 0;
}

uint32_t shiftRight(uint32_t value, uint32_t count) {
    count %= 64;
    return count < 32 ? value >> count : 0;
}

// Only 'a' to 'z': the Java VM takes over the user's locale, and a key must be the same in each.
char upperCased(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

} // namespace

uint8_t bitrotate(uint8_t value, uint32_t count) {
    return static_cast<uint8_t>(shiftRight(value, count) + (shiftLeft(value, 8 - count) & 0xFF));
}

void makeHashResult(char *text, uint32_t *key) {
    for (char *character = text; *character != '\0'; ++character)
        *character = upperCased(*character);
    uint32_t hash = 0xFFFFFFFF;
    for (uint32_t i = 0; text[i] != '\0'; ++i) {
        const auto current = static_cast<uint8_t>(text[i]);
        const auto next = static_cast<uint8_t>(text[i + 1]);
        // Both counts are the index, never the characters.
        hash += shiftLeft(static_cast<uint32_t>(bitrotate(current, i % 64) + next), i);
    }
    *key = hash;
}

uint32_t rk::keyOfCharacters(const char *text) {
    uint32_t key = 0;
    makeHashResult(const_cast<char *>(text), &key);
    return key;
}

const char *JStringFieldToHash(JNIEnv *env, jobject obj, const char *name, uint32_t *key) {
    const rk::LocalReference string(env, rk::stringFromJava(env, obj, name));
    const rk::Characters characters(env, string.reference);
    if (characters.text != nullptr)
        *key = rk::keyOfCharacters(characters.text);
    return characters.text;
}

int32_t initCRCTable() {
    for (uint32_t value = 0; value < 256; ++value) {
        uint32_t companion = 0xC0C1;
        for (uint32_t bit = 1; bit <= 128; bit <<= 1) {
            if ((value & bit) != 0)
                prv_ausCRCTable[value] = static_cast<uint16_t>(prv_ausCRCTable[value] ^ companion);
            companion = ((companion << 1) ^ 0x4003) & 0xFFFF;
        }
    }
    bCRCTableInited = 1;
    return 0;
}

// The second string does not matter. A null identifier has the key of the empty one.
JNIEXPORT jint NATIVE(calcClusterIdKeyNative)(JNIEnv *env, jobject, jstring identifier, jstring) {
    const rk::Characters characters(env, identifier);
    return static_cast<jint>(characters.text == nullptr ? 0xFFFFFFFF : rk::keyOfCharacters(characters.text));
}

JNIEXPORT void NATIVE(setKeyIsIpAddrNative)(JNIEnv *, jobject, jint flag) {
    iClusterIdKeyIsIp = flag;
}
