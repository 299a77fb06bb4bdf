// No code: what kx_product_headers compiles is its headers.
