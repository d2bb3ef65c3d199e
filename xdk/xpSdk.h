#pragma once

// Returns the model to its state at start: no device, no manager in any platform layer, an
// empty log. Primitive ids already handed out stay valid, so a manager class can be registered
// again under its ids. For tests, which share one process.
void xpSdkReset();

// Counts the resets: a caller that keeps a manager pointer keeps it with the generation it was
// found in, and looks again once the generation moved on. A plain variable, so that checking a
// kept pointer costs a load rather than a call.
extern unsigned xpSdkGenerationCount;
inline unsigned xpSdkGeneration() {
   return xpSdkGenerationCount;
}
