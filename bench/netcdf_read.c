/* Times the netCDF C library reading a chromatogram's detector values in one call.
   Usage: netcdf_read FILE */
#include <netcdf.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

int main(int argc, char** argv) {
    struct timespec start, end;
    clock_gettime(CLOCK_MONOTONIC, &start);
    if (argc != 2)
        return 2;
    int id, var, dim;
    size_t length;
    if (nc_open(argv[1], NC_NOWRITE, &id) != NC_NOERR ||
        nc_inq_varid(id, "ordinate_values", &var) != NC_NOERR ||
        nc_inq_vardimid(id, var, &dim) != NC_NOERR || nc_inq_dimlen(id, dim, &length) != NC_NOERR)
        return 1;
    float* values = malloc(length * sizeof(float));
    if (values == NULL || nc_get_var_float(id, var, values) != NC_NOERR)
        return 1;
    nc_close(id);
    double sum = 0;
    for (size_t i = 0; i < length; ++i)
        sum += values[i];
    free(values);
    clock_gettime(CLOCK_MONOTONIC, &end);
    printf("checksum %.6g\n", sum);
    printf("seconds %.4f\n",
           (double)(end.tv_sec - start.tv_sec) + (end.tv_nsec - start.tv_nsec) / 1e9);
    return 0;
}
