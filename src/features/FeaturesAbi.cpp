// The exported functions of src/features.
