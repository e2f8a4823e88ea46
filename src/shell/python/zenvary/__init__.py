"""Python bindings."""
