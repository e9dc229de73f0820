ln -s /dev/full st.vds
