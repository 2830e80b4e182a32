"""Small changes of the sources, each of which a test should notice; README.md tells how."""
