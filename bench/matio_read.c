/* Times libmatio reading every variable of a MAT file, data included.
   Usage: matio_read FILE */
#include <matio.h>
#include <stdio.h>
#include <time.h>

int main(int argc, char** argv) {
    struct timespec start, end;
    clock_gettime(CLOCK_MONOTONIC, &start);
    if (argc != 2)
        return 2;
    mat_t* mat = Mat_Open(argv[1], MAT_ACC_RDONLY);
    if (mat == NULL)
        return 1;
    matvar_t* var;
    double sum = 0;
    while ((var = Mat_VarReadNext(mat)) != NULL) {
        if (var->class_type == MAT_C_DOUBLE && var->data != NULL && !var->isComplex) {
            const double* d = (const double*)var->data;
            for (size_t i = 0; i < var->nbytes / sizeof(double); ++i)
                sum += d[i];
        }
        Mat_VarFree(var);
    }
    Mat_Close(mat);
    clock_gettime(CLOCK_MONOTONIC, &end);
    printf("checksum %.6g\n", sum);
    printf("seconds %.4f\n",
           (double)(end.tv_sec - start.tv_sec) + (end.tv_nsec - start.tv_nsec) / 1e9);
    return 0;
}
