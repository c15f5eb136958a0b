// The exported functions of src/lmfit.
