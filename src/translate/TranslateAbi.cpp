// The exported functions of src/translate.
