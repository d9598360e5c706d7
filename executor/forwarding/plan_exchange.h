// Doing a draft, and undoing it.
#pragma once

#include "executor/forwarding/plan_draft.h"

namespace rk {

// Whether the plan would be the same.
bool isEmpty(const PlanDraft &draft);

// Does the draft to its plan, or undoes it. Neither needs memory.
void exchange(PlanDraft &draft);

// What a draft that has been done has changed. It points into the draft and the plan.
PlanChange changeOf(const PlanDraft &draft);

} // namespace rk
