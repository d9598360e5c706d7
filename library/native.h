// How native methods are exported.
#pragma once

#include "com_qel_internet_rk_common_CMNExecutorInterface.h"

// The exported name of a native method. The included header is generated from the Java class, so a method whose
// signature differs from its Java declaration does not compile.
#define NATIVE(method) JNICALL Java_com_qel_internet_rk_common_CMNExecutorInterface_##method
