// C ABI: filled in below.
