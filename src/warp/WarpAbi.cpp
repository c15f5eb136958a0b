// The exported functions of src/warp.
