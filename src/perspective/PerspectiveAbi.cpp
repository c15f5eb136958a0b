// The exported functions of src/perspective.
