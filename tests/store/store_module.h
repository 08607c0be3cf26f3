// A small module with a node of every kind that the store treats in a way of its own.
#ifndef TESTS_STORE_STORE_MODULE_H_
#define TESTS_STORE_STORE_MODULE_H_

namespace nexa_test {

inline constexpr char kStoreModule[] = R"yang(module s {
  yang-version 1.1;
  namespace "urn:s";
  prefix s;
  revision 2026-01-01;
  container top {
    leaf name { type string; }
    leaf speed { type uint32; default 100; }
    leaf address { type binary; }
    container limits {
      leaf low { type int32; }
      leaf high { type int32; default 9; must ". >= ../low or not(../low)"; }
    }
    list port {
      key "id";
      leaf id { type string; }
      leaf mode { type enumeration { enum a; enum b; } default a; }
      leaf peer { type leafref { path "../../port/id"; } }
      leaf note { type string; when "../mode = 'a'"; }
      container inner { leaf deep { type string; } }
    }
    list rule {
      key "id";
      ordered-by user;
      leaf id { type uint8; }
      leaf text { type string; }
    }
    leaf-list tag { type string; }
    leaf-list order { type uint8; ordered-by user; }
    leaf-list def { type uint8; default 1; default 2; }
    choice kind {
      default plain;
      case plain { leaf colour { type string; default "red"; } }
      case fancy { leaf shine { type uint8; } container box { leaf lid { type string; } } }
    }
    container on {
      presence "On.";
      leaf level { type uint8; default 3; }
      leaf must-be { type string; mandatory true; }
    }
    anydata vendor;
    leaf counter { config false; type uint64; }
  }
})yang";

}  // namespace nexa_test

#endif  // TESTS_STORE_STORE_MODULE_H_
