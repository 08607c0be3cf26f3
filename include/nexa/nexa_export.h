// What the library shows to its callers.
#ifndef NEXA_NEXA_EXPORT_H_
#define NEXA_NEXA_EXPORT_H_

// Marks what the library shows to the server; everything else stays hidden.
#define NEXA_EXPORT __attribute__((visibility("default")))

#endif  // NEXA_NEXA_EXPORT_H_
