// Values that a Java object and a record hold, each in its own way, and samples of them: of what Java gives and what
// the record is to hold for it, and of what the record holds and what Java is to get for it.
#pragma once

#include "contract/settings.h"
#include "harness/scripted_executor.h"

#include <jni.h>

namespace values {

// Samples have numbers from 0 on; after the last comes the first again.

// Java gives a sample, and what the record is to hold then.
std::size_t givenSamples(const Value &value);
void give(jobject object, const Value &value, std::size_t sample);
void expectGiven(executor::Image &image, const Value &value, std::size_t sample);

// The record holds a sample, and Java is to have got it.
std::size_t heldSamples(const Value &value);
void hold(executor::Image &image, const Value &value, std::size_t sample);
void expectRead(jobject object, const Value &value, std::size_t sample);

} // namespace values
