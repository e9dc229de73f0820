ln -s /dev/full st.vd
