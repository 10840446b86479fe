# The items of ../items.proto as Cap'n Proto structs. Texts that are not set are null pointers; numbers that
# may be missing have a flag.
@0xb5d1c8f2a7e34961;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("kr::zero::bench::capn");

struct Item {
  id @0 :UInt32;
  title @1 :Text;
  isbn @2 :Text;
  shelf @3 :Text;
  pages @4 :Int32;
  soldIsSet @5 :Bool;
  sold @6 :Int64;
  priceIsSet @7 :Bool;
  price @8 :Float64;
  available @9 :Bool;
  genreIsSet @10 :Bool;
  genre @11 :Genre;
  acquired @12 :Text;
  ratings @13 :List(Int32);
  keywords @14 :List(Text);
  originalIsSet @15 :Bool;
  original @16 :UInt32;
  related @17 :List(UInt32);
  parts @18 :List(Item);

  enum Genre {
    novel @0;
    poetry @1;
    drama @2;
    science @3;
    history @4;
  }
}

struct Catalog {
  items @0 :List(Item);
}
