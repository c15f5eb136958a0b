// The exported functions of src/transform.
