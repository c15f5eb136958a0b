// The exported functions of src/driver.
