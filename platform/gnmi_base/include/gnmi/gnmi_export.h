// What the base library shows to its callers.
#ifndef GNMI_GNMI_EXPORT_H_
#define GNMI_GNMI_EXPORT_H_

// Marks what the gNMI base library shows to others; everything else stays hidden.
#define GNMI_EXPORT __attribute__((visibility("default")))

#endif  // GNMI_GNMI_EXPORT_H_
